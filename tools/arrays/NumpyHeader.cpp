// SPDX-License-Identifier: Apache-2.0

#include "arrays/NumpyHeader.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

namespace arrays {
namespace {

constexpr std::string_view magic = "\x93NUMPY";
constexpr std::size_t mostDimensions = 32;

[[noreturn]] void fail(const std::string& reason) {
    throw ArrayError("This is no .npy file: " + reason + ".");
}

std::string_view textOf(std::span<const std::uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// Reads the dictionary from left to right. Python's literals are taken as NumPy writes them, and no others.
class DictionaryReader {
 public:
    explicit DictionaryReader(std::string_view text) : text_(text) {}

    NumpyHeader read() {
        expect('{');
        while (!taken('}')) {
            const std::string key = quoted();
            expect(':');
            readValue(key);
            if (!taken(',')) {
                expect('}');
                break;
            }
        }
        if (!type_ || !order_ || !shape_) {
            fail("its header does not tell the type, the order and the shape");
        }
        return {*type_, *order_, *shape_};
    }

 private:
    void readValue(const std::string& key) {
        if (key == "descr") {
            type_ = elementType();
        } else if (key == "fortran_order") {
            order_ = boolean();
        } else if (key == "shape") {
            shape_ = shape();
        } else {
            fail("its header has the unknown key '" + key + "'");
        }
    }

    void skipSpace() {
        while (!text_.empty() && (text_.front() == ' ' || text_.front() == '\n')) {
            text_.remove_prefix(1);
        }
    }

    bool taken(char wanted) {
        skipSpace();
        if (text_.empty() || text_.front() != wanted) {
            return false;
        }
        text_.remove_prefix(1);
        return true;
    }

    void expect(char wanted) {
        if (!taken(wanted)) {
            fail(std::string("its header lacks a \"") + wanted + "\"");
        }
    }

    std::string quoted() {
        skipSpace();
        const char mark = text_.empty() ? '\0' : text_.front();
        if (mark != '\'' && mark != '"') {
            fail("its header holds something else than a quoted text where one is needed");
        }
        const std::size_t end = text_.find(mark, 1);
        if (end == std::string_view::npos) {
            fail("a quoted text in its header does not end");
        }
        std::string value(text_.substr(1, end - 1));
        text_.remove_prefix(end + 1);
        return value;
    }

    ElementType elementType() {
        skipSpace();
        if (!text_.empty() && text_.front() == '[') {
            throw ArrayError("Its elements are structures; one array of plain numbers is needed.");
        }
        const std::string code = quoted();
        const bool isNumber = code.size() == 3 &&
                              std::string_view("<>|=").find(code[0]) != std::string_view::npos &&
                              std::string_view("buif").find(code[1]) != std::string_view::npos;
        const auto size = static_cast<unsigned int>(isNumber ? code[2] - '0' : 0);
        const bool isFloat = isNumber && code[1] == 'f';
        const bool fits = size == 4 || size == 8 || (!isFloat && (size == 1 || size == 2));
        if (!isNumber || !fits || (code[1] == 'b' && size != 1)) {
            throw ArrayError("Its elements are of type '" + code +
                             "'; booleans, integers and floats of 4 or 8 bytes are read.");
        }
        ElementType type;
        type.kind = code[1] == 'b'   ? ElementKind::Boolean
                    : code[1] == 'i' ? ElementKind::SignedInteger
                    : code[1] == 'u' ? ElementKind::UnsignedInteger
                                     : ElementKind::Float;
        type.size = size;
        type.bigEndian = code[0] == '>';
        return type;
    }

    bool boolean() {
        skipSpace();
        for (const bool value : {false, true}) {
            const std::string_view word = value ? "True" : "False";
            if (text_.starts_with(word)) {
                text_.remove_prefix(word.size());
                return value;
            }
        }
        fail("the order in its header is neither True nor False");
    }

    std::vector<std::size_t> shape() {
        std::vector<std::size_t> lengths;
        expect('(');
        while (!taken(')')) {
            if (lengths.size() == mostDimensions) {
                fail("its header tells of more than 32 dimensions");
            }
            lengths.push_back(length());
            if (!taken(',')) {
                expect(')');
                break;
            }
        }
        return lengths;
    }

    std::size_t length() {
        skipSpace();
        std::size_t value = 0;
        const auto [end, error] = std::from_chars(text_.data(), text_.data() + text_.size(), value);
        if (error != std::errc{}) {
            fail("a length in its header is no number");
        }
        text_.remove_prefix(static_cast<std::size_t>(end - text_.data()));
        return value;
    }

    std::string_view text_;
    std::optional<ElementType> type_;
    std::optional<bool> order_;
    std::optional<std::vector<std::size_t>> shape_;
};

std::size_t littleEndian(std::span<const std::uint8_t> bytes) {
    std::size_t value = 0;
    for (std::size_t k = bytes.size(); k-- > 0;) {
        value = value << 8U | bytes[k];
    }
    return value;
}

}  // namespace

NumpyHeader readNumpyHeader(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < 8 || textOf(bytes.first(6)) != magic) {
        fail("it does not begin with the mark of one");
    }
    const unsigned int version = bytes[6];
    if (version < 1 || version > 3) {
        fail("its version " + std::to_string(version) + " is not known");
    }
    const std::size_t wordSize = version == 1 ? 2 : 4;
    if (bytes.size() < 8 + wordSize) {
        fail("it ends within its header");
    }
    const std::size_t length = littleEndian(bytes.subspan(8, wordSize));
    const std::size_t begin = 8 + wordSize;
    if (length > bytes.size() - begin) {
        fail("it ends within its header");
    }
    NumpyHeader header = DictionaryReader(textOf(bytes.subspan(begin, length))).read();
    header.size = begin + length;
    return header;
}

std::vector<std::uint8_t> makeNumpyHeader(const ElementType& type, std::span<const std::size_t> shape) {
    const char kinds[] = {'b', 'i', 'u', 'f'};
    std::string dictionary = "{'descr': '";
    dictionary += type.size == 1 ? '|' : '<';
    dictionary += kinds[static_cast<std::size_t>(type.kind)];
    dictionary += std::to_string(type.size) + "', 'fortran_order': False, 'shape': (";
    for (std::size_t k = 0; k < shape.size(); ++k) {
        dictionary += k > 0 ? " " : "";
        dictionary += std::to_string(shape[k]);
        dictionary += ',';
    }
    dictionary += "), }";
    constexpr std::size_t prefix = 10;  // mark, version and length
    dictionary.resize((prefix + dictionary.size() + 1 + 63) / 64 * 64 - prefix, ' ');
    dictionary.back() = '\n';
    std::string header(magic);
    header += '\1';  // version 1.0
    header += '\0';
    header += static_cast<char>(dictionary.size() & 0xFFU);
    header += static_cast<char>(dictionary.size() >> 8U);
    header += dictionary;
    return {header.begin(), header.end()};
}

}  // namespace arrays
