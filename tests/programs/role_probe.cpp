// role_probe: starts the runtime as the library's loading would and prints the role it chose.
#include <cstdio>

#include "attach.h"
#include "process_state.h"
#include "role.h"

int main() {
    mirt::run_static_initialisers();
    mirt::process_attach();
    printf("host=%d shell=%d automation=%d roles_started=%d data_name=%s\n", mirt::is_host,
           mirt::is_shell_process() ? 1 : 0, mirt::automation_mode ? 1 : 0, mirt::roles_started,
           mirt::get_process_data_name());
    return 0;
}
