// role.h: the part a process plays in a multi-process run: host, client or neither.
#ifndef MIRT_STARTUP_ROLE_H
#define MIRT_STARTUP_ROLE_H

namespace mirt {

enum class Role {
    stand_alone,  // writes its own output (also the shell, and a process that found no host)
    client,       // registered with the host, which gets its counts
    host,         // gathers the clients' counts; runs auto-dump unless automation drives the run
};
extern Role process_role;

// True when the main module's base name equals "MIRTHOST" (default
// "pelvanor.exe"), without regard to case.
bool is_host_process();
// True when the main module's base name is "explorer.exe", without regard to case.
bool is_shell_process();

// Chooses the role (is_host decides the host; any other process is a client
// when a host answers its registration) and starts its background threads:
// the host's pipe server (never in the shell), or the client's listener.
// The host's gather and clear of its clients are hooked into every write
// and clear.
Role start_role();

}  // namespace mirt

#endif
