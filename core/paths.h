// paths.h: the two path operations that the logs, the writers and auto-dump share.
#ifndef MIRT_CORE_PATHS_H
#define MIRT_CORE_PATHS_H

#include <string>

namespace mirt {

// The text of path before its last '\' or '/' (empty when there is none, or
// when only a lone separator would remain). False when destination or path
// is absent; destination is emptied first either way.
bool directory_of(const char* path, std::string* destination);

// Makes sure that folder dir exists, creating missing parents at each
// separator of this system (the backslash on Windows; a forward slash is
// not a separator in the walk there). True when dir exists at the end and
// no parent failed.
bool make_directory_path(const char* dir);

}  // namespace mirt

#endif
