// paths.cpp: directory part of a path, and creation of a folder with its missing parents.
#include "core/paths.h"

#include <cstring>

#include "platform/files.h"

namespace mirt {

bool directory_of(const char* path, std::string* destination) {
    if (destination == nullptr) return false;
    destination->clear();
    if (path == nullptr) return false;
    size_t cut = 0;
    for (size_t i = strlen(path); i-- > 0;) {
        if (path[i] == '\\' || path[i] == '/') {
            cut = i;
            break;
        }
    }
    destination->assign(path, cut);
    if (cut == 1 && ((*destination)[0] == '\\' || (*destination)[0] == '/')) destination->clear();
    return true;
}

bool make_directory_path(const char* dir) {
    if (dir == nullptr) return false;
    if (platform::path_exists(dir)) return true;
    bool parent_failed = false;
    std::string prefix;
    for (const char* p = dir; *p != '\0'; ++p) {
        if (*p != platform::directory_separator) continue;
        prefix.assign(dir, static_cast<size_t>(p - dir));
        // An empty prefix is the root of an absolute POSIX path: it exists.
        if (prefix.empty() || platform::path_exists(prefix.c_str())) continue;
        if (!platform::create_directory(prefix.c_str())) {
            parent_failed = true;
            break;
        }
    }
    if (!platform::create_directory(dir)) return false;
    return !parent_failed;
}

}  // namespace mirt
