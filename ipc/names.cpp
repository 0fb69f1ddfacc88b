// names.cpp: builders of the names, events and messages that host and clients share.
#include "ipc/names.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/files.h"

namespace mirt {

const char* host_exiting_base = "MIRT_HOST_EXITING";
const char* getdata_request_base = "MIRT_HOST_REQUEST_GETDATA";
const char* cleardata_request_base = "MIRT_HOST_REQUEST_CLEARDATA";

namespace {
OwnedName exact_copy(const char* text) {
    size_t n = strlen(text);
    OwnedName copy(static_cast<char*>(malloc(n + 1)));
    if (copy != nullptr) memcpy(copy.get(), text, n + 1);
    return copy;
}

void numbered_name(char* buffer, size_t size, const char* base, int32_t id) { snprintf(buffer, size, "%s_%d", base, id); }
}  // namespace

OwnedName make_data_base_name(const char* name, uint32_t pid, int32_t id) {
    char buffer[name_buffer_size];
    snprintf(buffer, sizeof buffer, "mirt_%s_data_%d_%d", name, static_cast<int>(pid), id);
    return exact_copy(buffer);
}

OwnedName make_data_base_name(const ClientRecord& record) {
    return make_data_base_name(record.name.c_str(), record.pid, record.id);
}

OwnedName make_kind_name(const ClientRecord& record, const char* kind) {
    OwnedName base = make_data_base_name(record);
    std::string name = std::string(base != nullptr ? base.get() : "") + "_" + kind;
    if (name.size() > name_buffer_size - 1) name.resize(name_buffer_size - 1);
    return exact_copy(name.c_str());
}

OwnedName make_exiting_name(const ClientRecord& record) { return make_kind_name(record, "EXITING"); }
OwnedName make_data_ready_name(const ClientRecord& record) { return make_kind_name(record, "DATA_READY"); }
OwnedName make_cleardata_done_name(const ClientRecord& record) { return make_kind_name(record, "CLEARDATA_DONE"); }

void make_data_file_path(char* destination, const char* base, bool final) {
    char temp[256];
    if (!platform::temp_folder(temp, sizeof temp)) temp[0] = '\0';
    snprintf(destination, data_file_path_size, "%s%s_%s", temp, base, final ? "Y" : "N");
}

void make_data_file_path(char* destination, const ClientRecord& record, bool final) {
    OwnedName base = make_data_base_name(record);
    make_data_file_path(destination, base != nullptr ? base.get() : "", final);
}

platform::EventHandle create_named_event(const char* name, bool manual_reset, bool initial) {
    return platform::create_event(name, manual_reset, initial);
}

platform::EventHandle create_numbered_event(const char* base, int32_t id, bool manual_reset) {
    char name[name_buffer_size];
    numbered_name(name, sizeof name, base, id);
    return platform::create_event(name, manual_reset, false);
}

platform::EventHandle open_numbered_event(const char* base, int32_t id) {
    char name[name_buffer_size];
    numbered_name(name, sizeof name, base, id);
    return platform::open_event(name);
}

bool signal_named_event(const char* name) {
    if (name == nullptr) return false;
    platform::EventHandle event = platform::open_event(name);
    if (event == 0) return false;
    bool set = platform::set_event(event);
    platform::close_event(event);
    return set;
}

void make_registration(char* buffer, size_t size, const char* name, uint32_t pid) {
    snprintf(buffer, size, "CR:%s:%d", name, static_cast<int>(pid));
}

void parse_registration(const std::string& text, std::string* name, uint32_t* pid) {
    name->clear();
    *pid = 0;
    size_t first = text.find(':');
    if (first == std::string::npos || text.compare(0, first, "CR") != 0) return;
    size_t last = text.rfind(':');
    *name = text.substr(first + 1, last - first - 1);
    *pid = static_cast<uint32_t>(atoi(text.c_str() + last + 1));
}

bool acceptable_client_name(const std::string& name) {
    return !name.empty() && name.size() <= client_name_limit && name.find_first_of("/\\") == std::string::npos;
}

}  // namespace mirt
