#include "simulated_mac/tools/RegistryQuery.h"

#include <charconv>

namespace simulated_mac {

namespace {

using Entry = std::shared_ptr<RegistryEntry>;

bool readNumber(const std::string& text, std::size_t& number) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end;
}

/// The value belongs to the option; false if the option takes none or not this one.
bool setValue(RegistryQuery& query, char option, const std::string& value) {
    switch (option) {
        case 'c':
            query.className = value;
            return true;
        case 'd':
            return readNumber(value, query.depth);
        case 'k':
            query.key = value;
            return true;
        case 'n':
            query.name = value;
            return true;
        case 'p':
            return value == "IOService";
        case 'w':
            return readNumber(value, query.width);
        default:
            return false;
    }
}

bool setFlag(RegistryQuery& query, char option) {
    switch (option) {
        case 'a':
            return query.propertyList = true;
        case 'l':
            return query.allProperties = true;
        case 'r':
            return query.subtrees = true;
        case 't':
            return query.tracks = true;
        case 'x':
            return query.hexadecimal = true;
        default:
            return false;
    }
}

void collectRoots(const RegistryQuery& query, const Entry& entry, std::vector<Entry>& roots) {
    if (query.matches(*entry)) {
        roots.push_back(entry);
    } else {
        for (const Entry& child : entry->children) collectRoots(query, child, roots);
    }
}

}  // namespace

bool RegistryQuery::matches(const RegistryEntry& entry) const {
    if (className.empty() && name.empty() && key.empty()) return false;
    return (className.empty() || entry.isA(className)) &&
           (name.empty() || name == entry.name || name == entry.name + "@" + entry.location) &&
           (key.empty() || entry.get(key) != nullptr);
}

bool RegistryQuery::showsProperties(const RegistryEntry& entry) const {
    return allProperties || matches(entry);
}

std::vector<Entry> RegistryQuery::roots(const Entry& root) const {
    if (!subtrees) return {root};
    std::vector<Entry> found;
    collectRoots(*this, root, found);
    return found;
}

const std::vector<Entry>& RegistryQuery::childrenOf(const RegistryEntry& entry,
                                                    std::size_t level) const {
    static const std::vector<Entry> none;
    return depth == 0 || level < depth ? entry.children : none;
}

std::optional<RegistryQuery> readRegistryQuery(const std::vector<std::string>& arguments) {
    RegistryQuery query;
    for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
        if (argument->size() < 2 || argument->front() != '-') return std::nullopt;
        for (std::size_t at = 1; at < argument->size(); ++at) {
            const char option = (*argument)[at];
            if (setFlag(query, option)) continue;
            // The value is the rest of the word or, if that is empty, the next word.
            std::string value = argument->substr(at + 1);
            if (value.empty()) {
                if (++argument == arguments.end()) return std::nullopt;
                value = *argument;
            }
            if (!setValue(query, option, value)) return std::nullopt;
            break;
        }
    }
    return query;
}

}  // namespace simulated_mac
