#include "simulated_mac/hardware/Registry.h"

#include <algorithm>

namespace simulated_mac {

namespace {

constexpr std::size_t firstHandle = 0x1003;

/// The first entry of a subtree that is found, a parent before its children; nothing without one.
template <class IsFound>
Registry::Entry findFrom(const Registry::Entry& entry, const IsFound& isFound) {
    if (isFound(entry)) return entry;
    for (const Registry::Entry& child : entry->children) {
        if (Registry::Entry found = findFrom(child, isFound)) return found;
    }
    return nullptr;
}

}  // namespace

bool ClassNames::contains(const std::string& name) const {
    return names_ != nullptr && std::find(names_->begin(), names_->end(), name) != names_->end();
}

bool Match::fits(const RegistryEntry& entry) const {
    return (className.empty() || entry.isA(className)) && (name.empty() || entry.name == name);
}

Registry::Registry(Ledger& ledger) : ledger_(ledger) {
    root_ = std::make_shared<RegistryEntry>();
    root_->name = "Root";
    root_->classes = {"IORegistryEntry"};
    root_->id = nextID_++;
}

void Registry::replaceRoot(RegistryEntry root) {
    const std::lock_guard lock(mutex_);
    if (root.id == 0) root.id = root_->id;
    *root_ = std::move(root);
    nextID_ = std::max(nextID_, root_->id + 1);
}

Registry::Entry Registry::add(const Entry& parent, RegistryEntry description) {
    auto entry = std::make_shared<RegistryEntry>(std::move(description));
    std::vector<std::pair<std::function<void(io_iterator_t)>, io_iterator_t>> deliveries;
    {
        const std::lock_guard lock(mutex_);
        if (entry->id == 0) entry->id = nextID_;
        nextID_ = std::max(nextID_, entry->id + 1);
        entry->parent = parent;
        parent->children.push_back(entry);
        ++changes_;
        for (auto& [handle, iterator] : iterators_) {
            if (!iterator.deliver || !iterator.match.fits(*entry)) continue;
            iterator.entries.push_back(entry);
            if (iterator.armed) deliveries.emplace_back(iterator.deliver, handle);
            iterator.armed = false;
        }
    }
    std::sort(deliveries.begin(), deliveries.end(),
              [](const auto& a, const auto& b) { return a.second < b.second; });
    for (const auto& [deliver, handle] : deliveries) deliver(handle);
    return entry;
}

void Registry::remove(const Entry& entry) {
    const std::lock_guard lock(mutex_);
    if (const Entry parent = entry->parent.lock()) {
        auto& siblings = parent->children;
        siblings.erase(std::remove(siblings.begin(), siblings.end(), entry), siblings.end());
        ++changes_;
    }
}

std::vector<Registry::Entry> Registry::walk(const Entry& from) const {
    const std::lock_guard lock(mutex_);
    std::vector<Entry> entries;
    findFrom(from, [&](const Entry& entry) {
        entries.push_back(entry);
        return false;
    });
    return entries;
}

std::vector<Registry::Entry> Registry::matching(const Match& match) const {
    const std::lock_guard lock(mutex_);
    std::vector<Entry> entries;
    findFrom(root_, [&](const Entry& entry) {
        if (match.fits(*entry)) entries.push_back(entry);
        return false;
    });
    return entries;
}

Registry::Entry Registry::firstMatching(const Match& match) const {
    const std::lock_guard lock(mutex_);
    return findFrom(root_, [&](const Entry& entry) { return match.fits(*entry); });
}

Registry::Entry Registry::find(const Entry& from,
                               const std::function<bool(const RegistryEntry&)>& isFound) const {
    const std::lock_guard lock(mutex_);
    return findFrom(from, [&](const Entry& entry) { return isFound(*entry); });
}

std::string Registry::pathOf(const Entry& entry) const {
    if (entry->path) return *entry->path;
    // The root and the platform expert below it have no part in a path.
    std::string path;
    for (Entry at = entry; at != root_ && at->parent.lock() != nullptr; at = at->parent.lock()) {
        if (at->path) return *at->path + path;
        if (at->parent.lock() == root_ && at->isA("IOPlatformExpertDevice")) break;
        const std::string location = at->location.empty() ? "" : "@" + at->location;
        path.insert(0, "/" + at->name + location);
    }
    return "IOService:" + (path.empty() ? "/" : path);
}

void Registry::inspect(const std::function<void()>& look) const {
    const std::lock_guard lock(mutex_);
    look();
}

void Registry::setProperty(const Entry& entry, const std::string& key, CFPointer value) {
    const std::lock_guard lock(mutex_);
    entry->set(key, std::move(value));
}

io_object_t Registry::handOut(const Entry& entry, const char* call) {
    const std::lock_guard lock(mutex_);
    return handOutLocked(entry, call);
}

io_object_t Registry::handOutLocked(const Entry& entry, const char* call) {
    if (entry == nullptr) return IO_OBJECT_NULL;
    entry->references.push_back(call);
    ledger_.handedOut(Reference::registryEntry, call);
    return handleLocked(entry);
}

io_object_t Registry::handleOf(const Entry& entry) {
    const std::lock_guard lock(mutex_);
    entry->keptBySystem = true;
    return handleLocked(entry);
}

io_object_t Registry::handleLocked(const Entry& entry) {
    if (entry->handle == IO_OBJECT_NULL) {
        handedOut_.push_back(entry);
        entry->handle = static_cast<io_object_t>(firstHandle + 2 * (handedOut_.size() - 1));
    }
    return entry->handle;
}

std::pair<const io_iterator_t, Registry::Iterator>& Registry::addIteratorLocked(const char* call) {
    auto& added = *iterators_.try_emplace(nextIterator_).first;
    nextIterator_ += 2;
    added.second.references.push_back(call);
    ledger_.handedOut(Reference::iterator, call);
    return added;
}

io_iterator_t Registry::handOutIterator(std::vector<Entry> entries, const char* call) {
    const std::lock_guard lock(mutex_);
    auto& [handle, iterator] = addIteratorLocked(call);
    iterator.entries.assign(entries.begin(), entries.end());
    return handle;
}

io_iterator_t Registry::handOutWalk(const Entry& from, bool recursively, const char* call) {
    const std::lock_guard lock(mutex_);
    auto& [handle, iterator] = addIteratorLocked(call);
    iterator.walk = Walk{changes_, recursively, {{from.get(), 0}}};
    return handle;
}

io_iterator_t Registry::handOutNotification(const Match& match,
                                            std::function<void(io_iterator_t)> deliver,
                                            const char* call) {
    const io_iterator_t handle = handOutIterator(matching(match), call);
    const std::lock_guard lock(mutex_);
    iterators_[handle].match = match;
    iterators_[handle].deliver = std::move(deliver);
    return handle;
}

Registry::Entry Registry::entryOf(io_object_t handle) const {
    const std::lock_guard lock(mutex_);
    const Entry* const entry = entryOfLocked(handle);
    return entry != nullptr ? *entry : nullptr;
}

const Registry::Entry* Registry::entryOfLocked(io_object_t handle) const {
    const std::size_t index = (static_cast<std::size_t>(handle) - firstHandle) / 2;
    if (handle % 2 == 0 || index >= handedOut_.size()) return nullptr;
    const Entry& entry = handedOut_[index];
    return entry->references.empty() && !entry->keptBySystem ? nullptr : &entry;
}

Registry::Entry Registry::next(io_iterator_t iterator) {
    const std::lock_guard lock(mutex_);
    return nextLocked(iterator);
}

io_object_t Registry::handOutNext(io_iterator_t iterator, const char* call) {
    const std::lock_guard lock(mutex_);
    return handOutLocked(nextLocked(iterator), call);
}

Registry::Entry Registry::nextLocked(io_iterator_t handle) {
    const auto found = iterators_.find(handle);
    if (found == iterators_.end()) return nullptr;
    Iterator& iterator = found->second;
    if (iterator.walk) return nextOf(*iterator.walk);
    if (iterator.entries.empty()) {
        iterator.armed = true;
        return nullptr;
    }
    Entry entry = std::move(iterator.entries.front());
    iterator.entries.pop_front();
    return entry;
}

Registry::Entry Registry::nextOf(Walk& walk) const {
    // Entries on the way may be gone.
    if (walk.changesBefore != changes_) return nullptr;
    while (!walk.levels.empty()) {
        Walk::Level& level = walk.levels.back();
        if (level.nextChild < level.parent->children.size()) {
            const Entry& entry = level.parent->children[level.nextChild++];
            if (walk.recursively) walk.levels.push_back({entry.get(), 0});
            return entry;
        }
        walk.levels.pop_back();
    }
    return nullptr;
}

bool Registry::retain(io_object_t handle, const char* call) {
    const std::lock_guard lock(mutex_);
    if (const Entry* const entry = entryOfLocked(handle)) {
        handOutLocked(*entry, call);
        return true;
    }
    const auto iterator = iterators_.find(handle);
    if (iterator == iterators_.end()) return false;
    iterator->second.references.push_back(call);
    ledger_.handedOut(Reference::iterator, call);
    return true;
}

bool Registry::release(io_object_t handle) {
    const std::lock_guard lock(mutex_);
    const Entry* const entry = entryOfLocked(handle);
    if (entry != nullptr && !(*entry)->references.empty()) {
        auto& references = (*entry)->references;
        ledger_.givenBack(Reference::registryEntry, references.back());
        references.pop_back();
        return true;
    }
    const auto iterator = iterators_.find(handle);
    if (iterator == iterators_.end()) return false;
    auto& references = iterator->second.references;
    ledger_.givenBack(Reference::iterator, references.back());
    references.pop_back();
    if (references.empty()) iterators_.erase(iterator);
    return true;
}

}  // namespace simulated_mac
