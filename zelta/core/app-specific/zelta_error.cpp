// SPDX-License-Identifier: Apache-2.0
// The texts of the exceptions.
#include "zelta_error.h"

namespace zelta {
namespace {

std::string place(const std::string& file, int line) {
    return file + " (line " + std::to_string(line) + "): ";
}

std::string withDetail(std::string text, const std::string& message) {
    if (!message.empty()) {
        text += ": " + message;
    }
    return text;
}

const char* tagText(InterpretError::InterpretErrorTag tag) {
    switch (tag) {
        case InterpretError::TagNullPointer:
            return "Received null pointer.";
        case InterpretError::TagExpression:
            return "Error while interpreting expression:";
        case InterpretError::TagSizeMismatch:
            return "Size mismatch: ";
        case InterpretError::TagUnknown:
            break;
    }
    return "Interpret Error, unknown error.";
}

std::string quoted(const std::string& message) {
    return message.empty() ? message : '"' + message + '"';
}

}  // namespace

ParseError::ParseError(const std::string& file, int line, const std::string& message)
    : Error(withDetail(place(file, line) + "Error in parsing data definition", message)) {}

CryptError::CryptError(const std::string& file, int line, const std::string& message)
    : Error(withDetail(place(file, line) + "Crypt error", message)) {}

InterpretError::InterpretError(const std::string& file, int line, InterpretErrorTag tag,
                               const std::string& message)
    : Error(place(file, line) + tagText(tag) + quoted(message)) {}

}  // namespace zelta
