// profile.cpp (POSIX): profile folder, computer name, executable version and a small INI
// reader and writer that behave as the Windows profile calls do for one section and its
// keys. This file holds only POSIX code.
#include "platform/profile.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "platform/text.h"

namespace mirt::platform {

namespace {

bool copy_whole(char* buffer, size_t size, const char* text) {
    size_t length = strlen(text);
    if (length > size - 1) {
        buffer[0] = '\0';
        return false;
    }
    memcpy(buffer, text, length + 1);
    return true;
}

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f'; }

std::string trimmed(const std::string& text, size_t begin, size_t end) {
    while (begin < end && is_blank(text[begin])) ++begin;
    while (end > begin && is_blank(text[end - 1])) --end;
    return text.substr(begin, end - begin);
}

bool same_name(const std::string& a, const char* b) { return ascii_casecmp(a.c_str(), b) == 0; }

// One line of an INI file as the Windows calls see it: a section header
// "[name]", a key line "name=value", or anything else (ignored).
struct IniLine {
    enum Kind { other, section, key } kind = other;
    std::string name;
    std::string value;
};

IniLine parse_line(const std::string& line) {
    IniLine parsed;
    std::string text = trimmed(line, 0, line.size());
    if (!text.empty() && text[0] == '[') {
        size_t close = text.rfind(']');
        if (close != std::string::npos) {
            parsed.kind = IniLine::section;
            parsed.name = trimmed(text, 1, close);
        }
        return parsed;
    }
    size_t equals = text.find('=');
    if (equals == std::string::npos) return parsed;
    parsed.kind = IniLine::key;
    parsed.name = trimmed(text, 0, equals);
    parsed.value = trimmed(text, equals + 1, text.size());
    // One pair of enclosing quotes, single or double, is removed.
    size_t n = parsed.value.size();
    if (n >= 2 && (parsed.value[0] == '"' || parsed.value[0] == '\'') && parsed.value[n - 1] == parsed.value[0])
        parsed.value = parsed.value.substr(1, n - 2);
    return parsed;
}

// The file's lines without their line feeds (a carriage return stays part
// of its line). False when the file exists but cannot be read; a missing
// file has no lines.
bool read_lines(const char* path, std::vector<std::string>* lines, bool* missing) {
    lines->clear();
    *missing = false;
    FILE* file = fopen(path, "rb");
    if (file == nullptr) {
        *missing = access(path, F_OK) != 0;
        return *missing;
    }
    std::string text;
    char chunk[4096];
    size_t n;
    while ((n = fread(chunk, 1, sizeof chunk, file)) > 0) text.append(chunk, n);
    bool ok = ferror(file) == 0;
    fclose(file);
    if (!ok) return false;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        lines->push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return true;
}

// Where key of section stands: the section's header line, the key's line
// and the last key line of the section (each -1 when absent). Only the
// first section of that name counts.
struct KeyPlace {
    long header = -1, key = -1, last_key = -1;
};

KeyPlace find_key(const std::vector<std::string>& lines, const char* section, const char* key) {
    KeyPlace place;
    for (size_t i = 0; i < lines.size(); ++i) {
        IniLine line = parse_line(lines[i]);
        if (line.kind == IniLine::section) {
            if (place.header >= 0) break;
            if (same_name(line.name, section)) place.header = static_cast<long>(i);
        } else if (line.kind == IniLine::key && place.header >= 0) {
            place.last_key = static_cast<long>(i);
            if (place.key < 0 && same_name(line.name, key)) place.key = static_cast<long>(i);
        }
    }
    return place;
}

}  // namespace

bool user_profile_folder(char* buffer, size_t size) {
    if (buffer == nullptr || size == 0) return false;
    const char* home = getenv("HOME");
    if (home != nullptr && home[0] != '\0') return copy_whole(buffer, size, home);
    passwd entry;
    passwd* found = nullptr;
    std::vector<char> scratch(16384);
    if (getpwuid_r(getuid(), &entry, scratch.data(), scratch.size(), &found) != 0 || found == nullptr ||
        found->pw_dir == nullptr || found->pw_dir[0] == '\0') {
        buffer[0] = '\0';
        return false;
    }
    return copy_whole(buffer, size, found->pw_dir);
}

bool computer_name(char* buffer, size_t size) {
    if (buffer == nullptr || size == 0) return false;
    char name[256] = {};
    if (gethostname(name, sizeof name - 1) != 0) {
        buffer[0] = '\0';
        return false;
    }
    copy_bounded(buffer, name, std::min(sizeof name - 1, size - 1));
    return true;
}

// Executables carry no version resource here.
bool executable_file_version(uint16_t*) { return false; }

size_t read_profile_string(const char* section, const char* key, const char* default_value, char* buffer,
                           size_t size, const char* path) {
    if (buffer == nullptr || size == 0) return 0;
    buffer[0] = '\0';
    if (section == nullptr || key == nullptr || path == nullptr) return 0;
    std::string value = default_value != nullptr ? default_value : "";
    std::vector<std::string> lines;
    bool missing = false;
    if (read_lines(path, &lines, &missing)) {
        KeyPlace place = find_key(lines, section, key);
        if (place.key >= 0) value = parse_line(lines[static_cast<size_t>(place.key)]).value;
    }
    // A NUL byte in the file ends the value there, so that the count
    // returned is the length of the text the caller sees.
    value.resize(strlen(value.c_str()));
    size_t length = value.size() < size - 1 ? value.size() : size - 1;
    memcpy(buffer, value.data(), length);
    buffer[length] = '\0';
    return length;
}

bool write_profile_string(const char* section, const char* key, const char* value, const char* path) {
    if (section == nullptr || key == nullptr || value == nullptr || path == nullptr) return false;
    std::vector<std::string> lines;
    bool missing = false;
    if (!read_lines(path, &lines, &missing)) return false;
    // New lines follow the file's own line ends.
    bool crlf = !lines.empty() && !lines[0].empty() && lines[0].back() == '\r';
    std::string cr = crlf ? "\r" : "";
    std::string entry = std::string(key) + "=" + value;
    KeyPlace place = find_key(lines, section, key);
    if (place.key >= 0) {
        // The key keeps its own spelling; only its value changes.
        std::string& line = lines[static_cast<size_t>(place.key)];
        entry = parse_line(line).name + "=" + value;
        line = entry + cr;
    } else if (place.header >= 0) {
        long after = place.last_key >= 0 ? place.last_key : place.header;
        lines.insert(lines.begin() + after + 1, entry + cr);
    } else {
        lines.push_back("[" + std::string(section) + "]" + cr);
        lines.push_back(entry + cr);
    }
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    FILE* file = fopen(path, "wb");
    if (file == nullptr) return false;
    bool ok = fwrite(text.data(), 1, text.size(), file) == text.size();
    if (fclose(file) != 0) ok = false;
    return ok;
}

}  // namespace mirt::platform
