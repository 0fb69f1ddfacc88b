// runtime_fixture.cpp: shared checks of the unit tests.
#include "runtime_fixture.h"

::testing::AssertionResult logged(const std::vector<std::string>& lines, int line, const std::string& message) {
    std::string tail = "," + std::to_string(line) + "]" + message;
    for (const auto& l : lines) {
        if (l.size() > tail.size() && l[0] == '[' && l.compare(l.size() - tail.size(), tail.size(), tail) == 0 &&
            l.find(',') == l.size() - tail.size())
            return ::testing::AssertionSuccess();
    }
    std::string all;
    for (const auto& l : lines) all += "\n  " + l;
    return ::testing::AssertionFailure() << "no line [...," << line << "]" << message << " in the error log:" << all;
}
