// runtime_folder.h (POSIX): the per-user folder that holds the host's socket, the event FIFOs
// and clients' data files.
// This file holds only POSIX code.
#ifndef MIRT_POSIX_RUNTIME_FOLDER_H
#define MIRT_POSIX_RUNTIME_FOLDER_H

#include <cstddef>

namespace mirt::platform {

// "<temporary folder>/mirt-<uid>/" with its trailing slash, at most size - 1
// characters. Created with mode 0700 on first use. Returns false, and leaves
// buffer empty, when it cannot be made or when what is there is not a folder
// (a symbolic link is not followed), is not owned by the user, or is open to
// group or others: then the process takes no part in collection. Without
// create, a missing folder is not made (false, as nothing can be in it).
bool runtime_folder(char* buffer, size_t size, bool create = true);
// The folder's path once it was found and refused; null until then.
const char* refused_runtime_folder();

// The runtime folder followed by name; false when the folder is refused or
// the whole path does not fit.
bool runtime_path(const char* name, char* buffer, size_t size, bool create = true);

}  // namespace mirt::platform

#endif
