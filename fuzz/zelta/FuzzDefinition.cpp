// SPDX-License-Identifier: Apache-2.0
// Any bytes as a definition: they parse or they throw, and what parses can be listed, copied, written and
// used.
#include <algorithm>
#include <cstdlib>
#include <exception>

#include "Seeds.h"

namespace {

using namespace zelta;

constexpr unsigned int kLargestRecord = 1U << 20U;
constexpr std::size_t kMostExpressions = 50;

/// What must be equal after a tree has been written and read.
bool sameTree(const TypeRef& a, const TypeRef& b) {
    const auto childrenA = a->children();
    const auto childrenB = b->children();
    if (a->name != b->name || a->dimensions != b->dimensions || a->offset != b->offset ||
        a->size != b->size || a->typeIdentifier() != b->typeIdentifier() ||
        childrenA.size() != childrenB.size()) {
        return false;
    }
    for (std::size_t i = 0; i < childrenA.size(); ++i) {
        if (!sameTree(childrenA[i], childrenB[i])) {
            return false;
        }
    }
    return true;
}

template <typename Call>
void mayThrow(Call call) {
    try {
        call();
    } catch (const Error&) {
    }
}

void use(const TypeRef& type) {
    std::vector<std::string> expressions;
    if (fuzz::isSmallToList(type)) {
        mayThrow([&] { expressions = validExpressions(type); });
    }
    expressions.resize(std::min(expressions.size(), kMostExpressions));
    if (type->size <= kLargestRecord) {
        std::vector<unsigned char> record(type->size, 0x41);
        std::vector<unsigned char> copy(type->size);
        for (const std::string& expression : expressions) {
            mayThrow([&] {
                std::string text;
                interpret<std::string>(interpreter<std::string>(type, expression), &text, 1, record.data(),
                                       type->size);
            });
        }
        mayThrow([&] {
            assign(type, record.data(), type->size, "", type, copy.data(), type->size, "", false, false);
        });
        const TypeRef sample = fuzz::sampleType(EndianBig);
        std::vector<unsigned char> local(sample->size);
        mayThrow([&] {
            assign(type, record.data(), type->size, "", sample, local.data(), sample->size, "", false, false);
        });
    }
    mayThrow([&] { cropDatadefinition(type, expressions); });
    mayThrow([&] { rec_CopyType(type, 0); });
    const std::string written = createDatadefinition(type);
    if (!sameTree(type, parseDatadefinition(written.data(), static_cast<unsigned int>(written.size())))) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    try {
        const TypeRef type = parseDatadefinition(data, static_cast<unsigned int>(size));
        if (type) {
            use(type);
        }
    } catch (const ParseError&) {
    } catch (const CryptError&) {
    }
    return 0;
}
