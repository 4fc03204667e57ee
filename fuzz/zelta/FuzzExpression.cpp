// SPDX-License-Identifier: Apache-2.0
// Any text as an expression, up to the first line end, against the definition after it or,
// without one, against a fixed record.
#include <algorithm>
#include <exception>

#include "Seeds.h"

namespace {

using namespace zelta;

constexpr unsigned int kLargestRecord = 1U << 20U;
constexpr unsigned int kMostElements = 1U << 16U;

template <typename Call>
void mayThrow(Call call) {
    try {
        call();
    } catch (const Error&) {
    }
}

template <typename T>
void readAndWrite(const TypeRef& type, const std::string& expression, std::vector<unsigned char>& record) {
    mayThrow([&] {
        const auto made = interpreter<T>(type, expression);
        if (made->count() > kMostElements) {
            return;
        }
        std::vector<T> values(made->count() + 1);
        const auto size = static_cast<unsigned int>(record.size());
        interpret<T>(made, values.data(), made->count(), record.data(), size);
        modify<T>(made, values.data(), made->count(), record.data(), size);
    });
}

TypeRef typeOf(const unsigned char* definition, std::size_t size) {
    try {
        const TypeRef type = parseDatadefinition(definition, static_cast<unsigned int>(size));
        return type ? type : fuzz::sampleType();
    } catch (const Error&) {
        return fuzz::sampleType();
    }
}

void use(const TypeRef& type, const std::string& expression) {
    mayThrow([&] { subExpressionSize(type, expression); });
    mayThrow([&] { subExpressionOffset(type, expression); });
    mayThrow([&] {
        ZeltaTypeID id = ZeltaStruct;
        std::vector<unsigned int> dimensions;
        subExpressionType(type, expression, id, dimensions);
    });
    if (fuzz::isSmallToList(type)) {
        mayThrow([&] { subExpressions(type, expression); });
    }
    mayThrow([&] { compressExpression(expression); });
    mayThrow([&] { cropDatadefinition(type, {expression}); });
    if (type->size > kLargestRecord) {
        return;
    }
    std::vector<unsigned char> record(type->size, 0x42);
    readAndWrite<signed char>(type, expression, record);
    readAndWrite<unsigned short>(type, expression, record);
    readAndWrite<int>(type, expression, record);
    readAndWrite<float>(type, expression, record);
    readAndWrite<double>(type, expression, record);
    mayThrow([&] {
        std::string text;
        interpret<std::string>(interpreter<std::string>(type, expression), &text, 1, record.data(),
                               type->size);
    });
    mayThrow([&] {
        const AssignerRef plan = assigner(type, expression, type, expression, true, false);
        if (plan->destinationSize() <= static_cast<int>(kLargestRecord)) {
            std::vector<unsigned char> part(static_cast<std::size_t>(plan->destinationSize()) + 1);
            assign(plan, record.data(), type->size, part.data(),
                   static_cast<unsigned int>(plan->destinationSize()));
        }
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const unsigned char* const end = data + size;
    const unsigned char* const line = std::find(data, end, '\n');
    const std::string expression(data, line);
    const unsigned char* const definition = line == end ? end : line + 1;
    use(typeOf(definition, static_cast<std::size_t>(end - definition)), expression);
    return 0;
}
