// probe_app: a program that loads the real library and runs the probe calls named on its command line.
//   fn N | key TEXT LINE | obj NAME LINE | line FILE LINE [TIMES] | reg2 NAME LINE,LINE... |
//   reg NAME LINE,LINE... | name TEXT LABEL | write PATH | clear | noexit | exit CODE |
//   touch PATH | waitfile PATH (exit code 3 when it never comes)
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "mirt64.h"
#include "test_support.h"

namespace {
std::vector<int> numbers(const char* list) {
    std::vector<int> out;
    for (const char* p = list; *p != '\0';) {
        out.push_back(atoi(p));
        const char* comma = strchr(p, ',');
        if (comma == nullptr) break;
        p = comma + 1;
    }
    return out;
}
}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        std::string command = argv[i];
        auto next = [&]() -> char* { return i + 1 < argc ? argv[++i] : const_cast<char*>(""); };
        if (command == "fn") {
            mirt_fn(atoi(next()));
        } else if (command == "key") {
            char* key = next();
            printf("key=%d\n", c_mirt_fn(key, atoi(next())));
        } else if (command == "obj") {
            char* name = next();
            mirt_obj scope(name, atoi(next()));
            printf("obj=%d\n", scope.index);
        } else if (command == "line") {
            char* file = next();
            int line = atoi(next());
            int times = i + 1 < argc && argv[i + 1][0] >= '0' && argv[i + 1][0] <= '9' ? atoi(next()) : 1;
            for (int t = 0; t < times; ++t) mirt_fn2(file, line);
        } else if (command == "reg2" || command == "reg") {
            char* name = next();
            // The tables live as long as the process, at fixed addresses.
            static auto* kept_lines = new std::deque<std::vector<int>>;
            static auto* kept_counters = new std::deque<std::vector<long long>>;
            auto* lines = &kept_lines->emplace_back(numbers(next()));
            if (command == "reg2") {
                long long* counters = mirt_reg2(name, static_cast<int>(lines->size()), lines->data());
                for (size_t k = 0; k < lines->size(); ++k) counters[k] += 1;
            } else {
                auto* counters = &kept_counters->emplace_back(lines->size(), 1);
                c_mirt_reg(name, static_cast<int>(lines->size()), lines->data(), counters->data());
            }
        } else if (command == "name") {
            char* text = next();
            c_mirt_set_test_name(text, static_cast<int>(strlen(text)), next());
        } else if (command == "write") {
            c_mirt_write_coverage_data(next());
        } else if (command == "clear") {
            c_mirt_clear_coverage_data();
        } else if (command == "noexit") {
            mirt_allow_shutdown_writing(false);
        } else if (command == "touch") {
            mirt_test::write_file(next(), "");
        } else if (command == "waitfile") {
            if (!mirt_test::wait_for_file(next())) return 3;
        } else if (command == "exit") {
            fflush(stdout);
            exit(atoi(next()));
        } else {
            fprintf(stderr, "probe_app: unknown command %s\n", command.c_str());
            return 2;
        }
    }
    fflush(stdout);
    return 0;
}
