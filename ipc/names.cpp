// names.cpp: builders of the names that host and clients share.
#include "names.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace mirt {

namespace {
char* exact_copy(const char* text) {
    size_t n = strlen(text);
    char* copy = static_cast<char*>(malloc(n + 1));
    if (copy != nullptr) memcpy(copy, text, n + 1);
    return copy;
}
}  // namespace

char* make_data_base_name(const char* name, uint32_t pid, int32_t id) {
    char buffer[name_buffer_size];
    snprintf(buffer, sizeof buffer, "mirt_%s_data_%d_%d", name, static_cast<int>(pid), id);
    return exact_copy(buffer);
}

char* make_data_base_name(const ClientRecord& record) {
    return make_data_base_name(record.name.c_str(), record.pid, record.id);
}

}  // namespace mirt
