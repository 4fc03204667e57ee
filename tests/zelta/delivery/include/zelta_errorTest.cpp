// SPDX-License-Identifier: Apache-2.0
#include "zelta_error.h"

#include <gtest/gtest.h>

#include <exception>
#include <type_traits>

namespace zelta {
namespace {

using Tag = InterpretError::InterpretErrorTag;

std::string interpretText(Tag tag, const std::string& message) {
    return InterpretError("some/file", 12, tag, message).what();
}

TEST(ParseErrorText, IsPlaceAndFixedWordsAndMessage) {
    EXPECT_STREQ(ParseError("some/file", 12, "why").what(),
                 "some/file (line 12): Error in parsing data definition: why");
}

TEST(ParseErrorText, WithoutMessageHasNoColon) {
    EXPECT_STREQ(ParseError("some/file", 12, "").what(),
                 "some/file (line 12): Error in parsing data definition");
}

TEST(CryptErrorText, IsPlaceAndFixedWordsAndMessage) {
    EXPECT_STREQ(CryptError("some/file", 7, "no key").what(), "some/file (line 7): Crypt error: no key");
    EXPECT_STREQ(CryptError("some/file", 7, "").what(), "some/file (line 7): Crypt error");
}

TEST(InterpretErrorText, HasTheTextOfItsTag) {
    EXPECT_EQ(interpretText(InterpretError::TagUnknown, ""),
              "some/file (line 12): Interpret Error, unknown error.");
    EXPECT_EQ(interpretText(InterpretError::TagNullPointer, ""),
              "some/file (line 12): Received null pointer.");
    EXPECT_EQ(interpretText(InterpretError::TagExpression, ""),
              "some/file (line 12): Error while interpreting expression:");
    EXPECT_EQ(interpretText(InterpretError::TagSizeMismatch, ""), "some/file (line 12): Size mismatch: ");
}

TEST(InterpretErrorText, QuotesItsMessage) {
    EXPECT_EQ(interpretText(InterpretError::TagExpression, "A.b"),
              "some/file (line 12): Error while interpreting expression:\"A.b\"");
}

TEST(InterpretErrorText, OfAnyOtherTagIsThatOfTagZero) {
    EXPECT_EQ(interpretText(static_cast<Tag>(3 + 1), "x"),
              "some/file (line 12): Interpret Error, unknown error.\"x\"");
}

TEST(ZltEOFExceptionText, IsItsMessage) {
    EXPECT_STREQ(ZltEOFException("End of file reached").what(), "End of file reached");
}

TEST(Errors, DeriveFromTheStandardException) {
    EXPECT_TRUE((std::is_base_of_v<std::exception, ParseError>));
    EXPECT_TRUE((std::is_base_of_v<std::exception, CryptError>));
    EXPECT_TRUE((std::is_base_of_v<std::exception, InterpretError>));
    EXPECT_TRUE((std::is_base_of_v<std::exception, ZltEOFException>));
}

}  // namespace
}  // namespace zelta
