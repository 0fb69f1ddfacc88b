// runtime_fixture.h: a fresh runtime for each test, its fixed files pointed into a private folder.
#ifndef MIRT_RUNTIME_FIXTURE_H
#define MIRT_RUNTIME_FIXTURE_H

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "core/error_log.h"
#include "core/index_file.h"
#include "core/internals.h"
#include "mirt64.h"
#include "core/point_table.h"
#include "core/process_state.h"
#include "tests/support/test_support.h"
#include "core/trace.h"

// Every test runs in a process of its own (the test runner starts one per
// test), so the runtime's globals start from their load-time values.
class RuntimeTest : public ::testing::Test {
protected:
    void SetUp() override {
        folder = mirt_test::make_temp_folder("unit");
        ASSERT_FALSE(folder.empty());
        index_path = mirt_test::join(folder, "index.txt");
        error_log_path = mirt_test::join(folder, "mirt_err.txt");
        trace_path = mirt_test::join(folder, "trace.out");
        out_path = mirt_test::join(folder, "cov.out");
        mirt::index_file_path = index_path.c_str();
        mirt::error_log_path = error_log_path.c_str();
        mirt::trace_file_name = trace_path.c_str();
        mirt::file_line_lock.init();
        mirt::merge_lock.init();
    }

    void TearDown() override {
        if (mirt::index_stream != nullptr) fclose(mirt::index_stream);
        mirt::index_stream = nullptr;
        mirt::close_error_log();
        trace_contents();
        mirt_test::remove_tree(folder);
    }

    // The trace file is held open without sharing: it is closed before reading.
    std::string trace_contents() {
        if (mirt::trace_handle != 0 && mirt::trace_handle != mirt::platform::invalid_file)
            mirt::platform::close_file(mirt::trace_handle);
        mirt::trace_handle = 0;
        return mirt_test::read_file(trace_path);
    }
    // A coverage write to out_path; the file's whole text.
    std::string write() {
        mirt_write_coverage_data(out_path.c_str());
        return mirt_test::read_file(out_path);
    }
    std::vector<std::string> index_lines() const {
        return mirt_test::lines_of(mirt_test::read_file(index_path));
    }

    // Whether the error log holds "[<any source>,line]message".
    ::testing::AssertionResult logged(int line, const std::string& message) const {
        std::string tail = "," + std::to_string(line) + "]" + message, all;
        for (const auto& l : mirt_test::lines_of(mirt_test::read_file(error_log_path))) {
            size_t at = l.size() - tail.size();
            if (l.size() > tail.size() && l[0] == '[' && l.find(',') == at && l.substr(at) == tail)
                return ::testing::AssertionSuccess();
            all += "\n  " + l;
        }
        return ::testing::AssertionFailure()
               << "no [...," << line << "]" << message << " in:" << all;
    }

    // A point as a client's data file brings it.
    static mirt::PointHitEntry* merged_point(const char* key, int32_t line, uint64_t count) {
        auto* e = static_cast<mirt::PointHitEntry*>(calloc(1, sizeof(mirt::PointHitEntry)));
        *e = {reinterpret_cast<uintptr_t>(strdup(key)), line, 0, count};
        return e;
    }

    std::string folder, index_path, error_log_path, trace_path, out_path;
};

#endif
