// SPDX-License-Identifier: Apache-2.0
#include "ElfSymbols.h"

#include <elf.h>
#include <link.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace host_testing {
namespace {

// Of the word size that this program is built for.
using Header = ElfW(Ehdr);
using Section = ElfW(Shdr);
using Symbol = ElfW(Sym);

class Image {
 public:
    explicit Image(const std::string& file) {
        std::ifstream stream(file, std::ios::binary);
        m_bytes.assign(std::istreambuf_iterator<char>(stream), {});
        if (m_bytes.compare(0, SELFMAG, ELFMAG) != 0) {
            throw std::runtime_error("no ELF file: " + file);
        }
    }

    template <class T>
    T at(std::size_t offset) const {
        T value;
        if (offset > m_bytes.size() || m_bytes.size() - offset < sizeof value) {
            throw std::runtime_error("the ELF file is cut off");
        }
        std::memcpy(&value, m_bytes.data() + offset, sizeof value);
        return value;
    }

    std::string textAt(std::size_t offset) const { return m_bytes.c_str() + offset; }

    Section section(std::size_t index) const {
        const auto header = at<Header>(0);
        return at<Section>(header.e_shoff + index * header.e_shentsize);
    }

    std::size_t sections() const { return at<Header>(0).e_shnum; }

 private:
    std::string m_bytes;
};

bool isExported(const Symbol& symbol) {
    const unsigned int binding = symbol.st_info >> 4U;
    return symbol.st_shndx != SHN_UNDEF && binding != STB_LOCAL;
}

}  // namespace

std::vector<std::string> exportedSymbols(const std::string& file) {
    const Image image(file);
    std::vector<std::string> names;
    for (std::size_t i = 0; i < image.sections(); ++i) {
        const Section table = image.section(i);
        if (table.sh_type != SHT_DYNSYM) {
            continue;
        }
        const Section texts = image.section(table.sh_link);
        for (std::size_t offset = 0; offset + sizeof(Symbol) <= table.sh_size; offset += sizeof(Symbol)) {
            const auto symbol = image.at<Symbol>(table.sh_offset + offset);
            if (isExported(symbol)) {
                names.push_back(image.textAt(texts.sh_offset + symbol.st_name));
            }
        }
    }
    return names;
}

}  // namespace host_testing
