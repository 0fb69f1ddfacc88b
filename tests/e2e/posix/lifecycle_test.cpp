// The library at the hard moments of a process's life, with real processes: exit() while
// other threads count.
#include "collection_fixture.h"

using namespace mirt_test;

namespace {

class Lifecycle : public CollectionTest {
protected:
    Lifecycle() { tag = "lifecycle"; }
    RunResult run_app(const std::vector<std::string>& args) {
        return run_program(join(program_folder(), "lifecycle_app"), args, env, folder);
    }
};

}  // namespace

// exit() runs the library's detach while eight threads still hit pointer-keyed
// and named points: nothing they read may be freed under them (before, about
// one run in three crashed).
TEST_F(Lifecycle, ExitWhileOtherThreadsProbe) {
    for (int run = 0; run < 30; ++run) {
        RunResult r = run_app({"exitrace"});
        ASSERT_EQ(r.exit_code, 0) << "run " << run << ": " << r.output;
    }
    remove_file(exit_output_path());
    remove_file(index_file_path());
}
