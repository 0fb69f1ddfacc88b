// process_state.cpp: the process's flags, data name and store locks.
#include "core/process_state.h"

namespace mirt {

int is_host = 0;
bool automation_mode = false;
int roles_started = 0;
std::atomic<bool> exiting{false};
bool registered_with_host = false;
bool shutdown_writing_allowed = true;
char process_data_name[process_data_name_size];
char environment_test_name[environment_test_name_size];
platform::Lock file_line_lock;
platform::Lock merge_lock;

const char* get_process_data_name() { return process_data_name; }
const char* fallback_test_name() { return environment_test_name[0] != '\0' ? environment_test_name : process_data_name; }

}  // namespace mirt
