// contains.h: whether a text holds a part; a failure shows the whole text.
#ifndef MIRT_CONTAINS_H
#define MIRT_CONTAINS_H

#include <gtest/gtest.h>

#include <string>

namespace mirt_test {
inline ::testing::AssertionResult contains(const std::string& text, const std::string& part) {
    if (text.find(part) != std::string::npos) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "no \"" << part << "\" in:\n" << text;
}
}  // namespace mirt_test

#endif
