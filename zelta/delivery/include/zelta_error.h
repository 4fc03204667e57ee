// SPDX-License-Identifier: Apache-2.0
// The exceptions of the library. Each composes its text when it is created, and keeps only that text.
#pragma once

#include <exception>
#include <string>

namespace zelta {

/// What the exceptions have in common: one text.
class Error : public std::exception {
 public:
    const char* what() const noexcept override { return m_text.c_str(); }

 protected:
    explicit Error(std::string text) : m_text(std::move(text)) {}

 private:
    std::string m_text;
};

/// A definition that is not one: "FILE (line LINE): Error in parsing data definition: MESSAGE".
class ParseError : public Error {
 public:
    ParseError(const std::string& file, int line, const std::string& message);
};

/// A payload that cannot be deciphered: "FILE (line LINE): Crypt error: MESSAGE".
class CryptError : public Error {
 public:
    CryptError(const std::string& file, int line, const std::string& message);
};

/// An expression, a plan or an interpreter that does not fit its types or its data: the text of the tag, and
/// the message between double quotes if there is one.
class InterpretError : public Error {
 public:
    enum InterpretErrorTag : int {
        TagUnknown = 0,
        TagNullPointer = 1,
        TagExpression = 2,
        TagSizeMismatch = 3
    };

    InterpretError(const std::string& file, int line, InterpretErrorTag tag, const std::string& message);
};

/// A file that ends inside a packet, or before one.
class ZltEOFException : public Error {
 public:
    explicit ZltEOFException(const std::string& message) : Error(message) {}
};

}  // namespace zelta
