// LCOV and Cobertura exports, checked as text and by the tools that read them.
#include <gtest/gtest.h>

#include <tinyxml2.h>

#include <sstream>

#include "tools/report/cobertura_export.h"
#include "tools/report/lcov_export.h"
#include "tests/tools/report/report_fixture.h"

using namespace mirt_report;
using mirt_report_test::set_of;

namespace {

const char* two_tests =
    "=== unit/parse-1\n>>> unknown\n"
    "--- src\n### a.cpp\n1,2\n2,0\n0,5\n### b.cpp\n7,1\n"
    "3,3\n"
    "=== unit/parse-1 again\n>>> Optimize\n"
    "--- src\n### a.cpp\n2,4\n"
    "=== counters only\n>>> l\n4,4\n";

}  // namespace

// One test-name section per test case, named by a word unique in the file;
// counts of line 0 and simple counters are left out.
TEST(LcovExport, TestNameSectionsAndDescriptions) {
    std::ostringstream out;
    write_lcov(out, set_of(two_tests));
    EXPECT_EQ(out.str(),
              "TN:unit_parse_1\n"
              "SF:src/a.cpp\nDA:1,2\nDA:2,0\nLF:2\nLH:1\nend_of_record\n"
              "SF:src/b.cpp\nDA:7,1\nLF:1\nLH:1\nend_of_record\n"
              "TN:unit_parse_1_again\n"
              "SF:src/a.cpp\nDA:2,4\nLF:1\nLH:1\nend_of_record\n");

    CoverageSet set = set_of("=== a-b\n>>> l\n=== a.b\n>>> l\n=== a_b\n>>> l\n===  \n>>> l\n=== \n>>> l\n");
    EXPECT_EQ(lcov_test_names(set), (std::vector<std::string>{"a_b", "a_b_2", "a_b_3", "_", "unnamed"}));
    std::ostringstream descriptions;
    write_lcov_descriptions(descriptions, set_of("=== a-b\n>>> first\n=== a-b\n>>> second\n"));
    EXPECT_EQ(descriptions.str(), "TN: a_b\nTD: a-b [first] [second]\n");
}

// Lines per class (file), package (folder) and report: line 0 left out,
// line 2 of a.cpp summed over the test cases.
TEST(CoberturaExport, CountsLinesPerClassPackageAndReport) {
    CoverageSet set = set_of(two_tests);
    CoberturaOptions options;
    options.timestamp = 1700000000;
    options.version = "test";
    std::ostringstream out;
    ASSERT_TRUE(write_cobertura(out, set.combined("all"), options));
    // The document without its indentation.
    std::string flat;
    for (const std::string& line : mirt_test::lines_of(out.str()))
        flat += line.substr(line.find('<')) + "\n";
    const std::string rates = "line-rate=\"1.0000\" branch-rate=\"0\" complexity=\"0\"";
    auto file = [&](const char* name, const std::string& lines) {
        return std::string("<class name=\"") + name + "\" filename=\"src/" + name + "\" " + rates +
               ">\n<methods/>\n<lines>\n" + lines + "</lines>\n</class>\n";
    };
    EXPECT_EQ(flat,
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<!DOCTYPE coverage SYSTEM "
              "\"http://cobertura.sourceforge.net/xml/coverage-04.dtd\">\n"
              "<coverage line-rate=\"1.0000\" branch-rate=\"0\" lines-covered=\"3\" "
              "lines-valid=\"3\" "
              "branches-covered=\"0\" branches-valid=\"0\" complexity=\"0\" version=\"test\" "
              "timestamp=\"1700000000\">\n"
              "<sources>\n<source>.</source>\n</sources>\n<packages>\n"
              "<package name=\"src\" " + rates + ">\n<classes>\n" +
              file("a.cpp", "<line number=\"1\" hits=\"2\" branch=\"false\"/>\n"
                            "<line number=\"2\" hits=\"4\" branch=\"false\"/>\n") +
              file("b.cpp", "<line number=\"7\" hits=\"1\" branch=\"false\"/>\n") +
              "</classes>\n</package>\n</packages>\n</coverage>\n");

    std::ostringstream first;
    ASSERT_TRUE(write_cobertura(first, *set.find("unit/parse-1"), options));
    EXPECT_NE(first.str().find("<coverage line-rate=\"0.6667\" branch-rate=\"0\" "
                               "lines-covered=\"2\" lines-valid=\"3\""),
              std::string::npos) << first.str();
}

TEST(CoberturaExport, AnyFileNameGivesWellFormedXml) {
    EXPECT_EQ(xml_text("plain/a.cpp"), "plain/a.cpp");
    EXPECT_EQ(xml_text("caf\xe9.cpp"), "caf\xc3\xa9.cpp");           // Latin-1 byte
    EXPECT_EQ(xml_text("caf\xc3\xa9.cpp"), "caf\xc3\xa9.cpp");       // already UTF-8
    EXPECT_EQ(xml_text("a\x01" "b"), "a?b");
    EXPECT_EQ(xml_text("\xed\xa0\x80"), "\xc3\xad\xc2\xa0\xc2\x80");  // a surrogate is not UTF-8

    TestCase t;
    t.files["dir <&\">/f\xe9\x02.cpp"] = {{1, 1}};
    t.files["C:\\w\\x.cpp"] = {{3, 0}};
    t.files["top.cpp"] = {{2, 1}};
    std::ostringstream out;
    ASSERT_TRUE(write_cobertura(out, t, CoberturaOptions{}));
    tinyxml2::XMLDocument doc;
    ASSERT_EQ(doc.Parse(out.str().c_str()), tinyxml2::XML_SUCCESS) << out.str();
    std::vector<std::string> packages;
    for (auto* p = doc.FirstChildElement("coverage")->FirstChildElement("packages")->FirstChildElement("package");
         p != nullptr; p = p->NextSiblingElement("package"))
        packages.push_back(p->Attribute("name"));
    EXPECT_EQ(packages, (std::vector<std::string>{".", "C:\\w", "dir <&\">"}));
    EXPECT_EQ(doc.FirstChildElement("coverage")->Int64Attribute("lines-valid"), 3);
    EXPECT_EQ(doc.FirstChildElement("coverage")->Int64Attribute("lines-covered"), 2);
}
