// runtime_fixture.h: a fresh runtime for each test, its fixed files pointed into a private folder.
#ifndef MIRT_RUNTIME_FIXTURE_H
#define MIRT_RUNTIME_FIXTURE_H

#include <gtest/gtest.h>

#include <string>

#include "error_log.h"
#include "index_file.h"
#include "internals.h"
#include "process_state.h"
#include "test_support.h"
#include "trace.h"

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

    // Lines of the error log, each "[source,line]message".
    std::vector<std::string> error_log_lines() const { return mirt_test::lines_of(mirt_test::read_text_file(error_log_path)); }

    std::string folder, index_path, error_log_path, trace_path;
};

// The error-log line that the runtime wrote for line with message, whatever
// its source file name.
::testing::AssertionResult logged(const std::vector<std::string>& lines, int line, const std::string& message);

#endif
