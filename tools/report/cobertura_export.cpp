// cobertura_export.cpp: Cobertura XML coverage reports, built with tinyxml2.
#include "tools/report/cobertura_export.h"

#include <tinyxml2.h>

#include <cstdio>
#include <map>

namespace mirt_report {

namespace {

// Length of the valid UTF-8 sequence at s[i], or 0 if there is none.
std::size_t utf8_length(const std::string& s, std::size_t i) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    std::size_t n;
    uint32_t cp;
    if (c < 0x80) return 1;
    if (c >= 0xC2 && c <= 0xDF) {
        n = 2;
        cp = c & 0x1F;
    } else if (c >= 0xE0 && c <= 0xEF) {
        n = 3;
        cp = c & 0x0F;
    } else if (c >= 0xF0 && c <= 0xF4) {
        n = 4;
        cp = c & 0x07;
    } else {
        return 0;
    }
    if (i + n > s.size()) return 0;
    for (std::size_t k = 1; k < n; ++k) {
        unsigned char d = static_cast<unsigned char>(s[i + k]);
        if ((d & 0xC0) != 0x80) return 0;
        cp = (cp << 6) | (d & 0x3F);
    }
    // Overlong forms, surrogates and values past U+10FFFF are not UTF-8;
    // U+FFFE and U+FFFF are not XML characters.
    if ((n == 3 && cp < 0x800) || (n == 4 && cp < 0x10000) || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF) ||
        cp == 0xFFFE || cp == 0xFFFF)
        return 0;
    return n;
}

std::string rate(std::size_t hit, std::size_t all) {
    char text[32];
    std::snprintf(text, sizeof text, "%.4f", all == 0 ? 1.0 : static_cast<double>(hit) / static_cast<double>(all));
    return text;
}

struct Tally {
    std::size_t lines = 0, hit = 0;
    std::size_t branches = 0, taken = 0;
};

// Cobertura's packages are directories: the part of the name before its
// last folder separator, either kind, "." for a name without one.
std::pair<std::string, std::string> package_and_class(const std::string& file) {
    std::size_t cut = file.find_last_of("/\\");
    if (cut == std::string::npos) return {".", file};
    return {cut == 0 ? file.substr(0, 1) : file.substr(0, cut), file.substr(cut + 1)};
}

// "0" where there is no branch at all, as without branch counting.
std::string branch_rate(const Tally& t) { return t.branches == 0 ? "0" : rate(t.taken, t.branches); }

void set_rates(tinyxml2::XMLElement* e, const Tally& t) {
    e->SetAttribute("line-rate", rate(t.hit, t.lines).c_str());
    e->SetAttribute("branch-rate", branch_rate(t).c_str());
    e->SetAttribute("complexity", "0");
}

// A function's lines are the file's lines from its first to its last; its
// rate counts them as the file's do.
void add_methods(tinyxml2::XMLElement* methods, const FileMap& mapped, const LineCounts& lines) {
    for (const MappedFunction& f : mapped.functions) {
        tinyxml2::XMLElement* method = methods->InsertNewChildElement("method");
        method->SetAttribute("name", xml_text(f.name).c_str());
        method->SetAttribute("signature", "");
        tinyxml2::XMLElement* list = method->InsertNewChildElement("lines");
        Tally tally;
        for (auto it = lines.lower_bound(f.first_line); it != lines.end() && it->first <= f.last_line; ++it) {
            tinyxml2::XMLElement* line = list->InsertNewChildElement("line");
            line->SetAttribute("number", it->first);
            line->SetAttribute("hits", static_cast<int64_t>(it->second));
            ++tally.lines;
            if (it->second > 0) ++tally.hit;
        }
        set_rates(method, tally);
    }
}

}  // namespace

std::string xml_text(const std::string& bytes) {
    std::string out;
    for (std::size_t i = 0; i < bytes.size();) {
        unsigned char c = static_cast<unsigned char>(bytes[i]);
        std::size_t n = utf8_length(bytes, i);
        if (n == 0) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
            ++i;
        } else if (n == 1 && c < 0x20 && c != '\t' && c != '\n' && c != '\r') {
            out += '?';
            ++i;
        } else {
            out.append(bytes, i, n);
            i += n;
        }
    }
    return out;
}

bool write_cobertura(std::ostream& out, const TestCase& counts, const CoberturaOptions& options,
                     const LineMap* map) {
    using namespace tinyxml2;
    // Package -> file -> the file's lines from 1 up.
    std::map<std::string, std::map<std::string, const LineCounts*>> packages;
    for (const auto& [file, lines] : counts.files)
        if (lines.lower_bound(1) != lines.end()) packages[package_and_class(file).first][file] = &lines;

    XMLDocument doc;
    doc.InsertEndChild(doc.NewDeclaration());
    doc.InsertEndChild(doc.NewUnknown("DOCTYPE coverage SYSTEM \"http://cobertura.sourceforge.net/xml/coverage-04.dtd\""));
    XMLElement* coverage = doc.NewElement("coverage");
    doc.InsertEndChild(coverage);
    XMLElement* sources = coverage->InsertNewChildElement("sources");
    sources->InsertNewChildElement("source")->SetText(xml_text(options.source_root).c_str());
    XMLElement* package_list = coverage->InsertNewChildElement("packages");

    Tally all;
    for (const auto& [package_name, files] : packages) {
        XMLElement* package = package_list->InsertNewChildElement("package");
        package->SetAttribute("name", xml_text(package_name).c_str());
        XMLElement* classes = package->InsertNewChildElement("classes");
        Tally in_package;
        for (const auto& [file, lines] : files) {
            XMLElement* cls = classes->InsertNewChildElement("class");
            cls->SetAttribute("name", xml_text(package_and_class(file).second).c_str());
            cls->SetAttribute("filename", xml_text(file).c_str());
            Tally in_file;
            // Each line's branch outcomes: how many, how many taken.
            std::map<int32_t, std::pair<std::size_t, std::size_t>> outcomes;
            auto branches = counts.branches.find(file);
            if (branches != counts.branches.end())
                for (const auto& [id, count] : branches->second) {
                    auto& o = outcomes[branch_of(map, file, id).line];
                    ++o.first;
                    if (count > 0) ++o.second;
                }
            XMLElement* line_list = doc.NewElement("lines");
            for (auto it = lines->lower_bound(1); it != lines->end(); ++it) {
                XMLElement* line = line_list->InsertNewChildElement("line");
                line->SetAttribute("number", it->first);
                line->SetAttribute("hits", static_cast<int64_t>(it->second));
                auto o = outcomes.find(it->first);
                if (o == outcomes.end()) {
                    line->SetAttribute("branch", "false");
                } else {
                    auto [all, taken] = o->second;
                    line->SetAttribute("branch", "true");
                    std::string coverage = std::to_string(taken * 100 / all) + "% (" + std::to_string(taken) + "/" +
                                           std::to_string(all) + ")";
                    line->SetAttribute("condition-coverage", coverage.c_str());
                    in_file.branches += all;
                    in_file.taken += taken;
                }
                ++in_file.lines;
                if (it->second > 0) ++in_file.hit;
            }
            set_rates(cls, in_file);
            tinyxml2::XMLElement* methods = cls->InsertNewChildElement("methods");
            if (const FileMap* mapped = map ? map->find(file) : nullptr) add_methods(methods, *mapped, *lines);
            cls->InsertEndChild(line_list);
            in_package.lines += in_file.lines;
            in_package.hit += in_file.hit;
            in_package.branches += in_file.branches;
            in_package.taken += in_file.taken;
        }
        set_rates(package, in_package);
        all.lines += in_package.lines;
        all.hit += in_package.hit;
        all.branches += in_package.branches;
        all.taken += in_package.taken;
    }
    coverage->SetAttribute("line-rate", rate(all.hit, all.lines).c_str());
    coverage->SetAttribute("branch-rate", branch_rate(all).c_str());
    coverage->SetAttribute("lines-covered", static_cast<int64_t>(all.hit));
    coverage->SetAttribute("lines-valid", static_cast<int64_t>(all.lines));
    coverage->SetAttribute("branches-covered", static_cast<int64_t>(all.taken));
    coverage->SetAttribute("branches-valid", static_cast<int64_t>(all.branches));
    coverage->SetAttribute("complexity", "0");
    coverage->SetAttribute("version", xml_text(options.version).c_str());
    coverage->SetAttribute("timestamp", options.timestamp);
    XMLPrinter printer;
    doc.Print(&printer);
    out.write(printer.CStr(), printer.CStrSize() - 1);
    return static_cast<bool>(out);
}

}  // namespace mirt_report
