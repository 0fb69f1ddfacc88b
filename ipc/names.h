// names.h: the names and messages that host and clients agree on byte for byte.
#ifndef MIRT_IPC_NAMES_H
#define MIRT_IPC_NAMES_H

#include <cstdint>
#include <string>

namespace mirt {

// Who a process is in a multi-process run. The process keeps one for itself;
// the host keeps one per registered client.
struct ClientRecord {
    std::string name;            // executable base name, case as reported
    uint64_t creation_time = 0;  // FILETIME order: high half, low half
    uint32_t pid = 0;
    int32_t id = -1;             // client number from the host; -1 until it answers
};

inline constexpr size_t name_buffer_size = 511;

// "mirt_%s_data_%d_%d" of name, pid and id, at most 510 characters, in a
// malloc'd block of its exact length that the caller frees.
char* make_data_base_name(const char* name, uint32_t pid, int32_t id);
char* make_data_base_name(const ClientRecord& record);

}  // namespace mirt

#endif
