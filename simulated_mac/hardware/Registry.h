#pragma once

#include <IOKit/IOKitLib.h>

#include <deque>
#include <functional>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "simulated_mac/description/MacDescription.h"
#include "simulated_mac/hardware/CFValue.h"
#include "simulated_mac/hardware/EntryProperties.h"
#include "simulated_mac/hardware/Ledger.h"

namespace simulated_mac {

/// The class of an entry and the classes that this one derives from. Copies share them.
class ClassNames {
  public:
    ClassNames() = default;
    ClassNames(std::vector<std::string> names)
        : names_(std::make_shared<const std::vector<std::string>>(std::move(names))) {}
    ClassNames(std::initializer_list<std::string> names)
        : ClassNames(std::vector<std::string>(names)) {}

    const std::string& front() const { return names_->front(); }
    bool contains(const std::string& name) const;

  private:
    std::shared_ptr<const std::vector<std::string>> names_;
};

/// One entry of the I/O registry.
struct RegistryEntry {
    std::string name;
    std::string location;  ///< the part after "@" in a path; may be empty
    ClassNames classes;
    EntryProperties properties;
    const RecordedEntry* recorded = nullptr;  ///< what it stands for, in a recorded registry
    std::weak_ptr<RegistryEntry> parent;
    std::vector<std::shared_ptr<RegistryEntry>> children;
    std::optional<std::string> path;  ///< instead of the one given by the tree
    bool readable = true;             ///< its properties can be read
    bool nameReadable = true;
    bool parentFound = true;
    std::uint64_t id = 0;  ///< 0 until it is part of a registry, which gives it one

    /// The plug-in's handle of the entry, and the calls that handed out its references.
    io_object_t handle = IO_OBJECT_NULL;
    std::vector<const char*> references;
    bool keptBySystem = false;  ///< the handle is valid without a reference of the plug-in's

    void set(const std::string& key, CFPointer value) { properties.set(key, std::move(value)); }
    CFPointer get(const std::string& key) const { return properties.get(key); }
    bool isA(const std::string& className) const { return classes.contains(className); }
};

/// What a matching dictionary asks for.
struct Match {
    std::string className;  ///< empty: any
    std::string name;       ///< empty: any

    bool fits(const RegistryEntry& entry) const;
};

/// The I/O registry: a tree of entries, and the handles under which a process knows them. An entry
/// has one handle however often it is handed out; a handle dies with its last reference.
class Registry {
  public:
    using Entry = std::shared_ptr<RegistryEntry>;

    explicit Registry(Ledger& ledger);

    Entry root() const { return root_; }
    /// Puts an entry in the place of the root, before anything is below that.
    void replaceRoot(RegistryEntry root);
    /// Adds an entry below `parent` and notifies those waiting for its kind. One without an ID gets
    /// the next.
    Entry add(const Entry& parent, RegistryEntry entry);
    void remove(const Entry& entry);

    /// All entries below and including `from`, depth first, a parent before its children.
    std::vector<Entry> walk(const Entry& from) const;
    std::vector<Entry> matching(const Match& match) const;
    /// The first of them; nothing if none matches.
    Entry firstMatching(const Match& match) const;
    /// The first entry of walk() for which `isFound` says so; nothing if there is none.
    Entry find(const Entry& from, const std::function<bool(const RegistryEntry&)>& isFound) const;
    std::string pathOf(const Entry& entry) const;
    /// Calls `look`, during which the tree doesn't change.
    void inspect(const std::function<void()>& look) const;
    void setProperty(const Entry& entry, const std::string& key, CFPointer value);

    // Handles. 0 means none. `call` names the function that hands one out.

    io_object_t handOut(const Entry& entry, const char* call);
    /// The handle of an entry to which the system itself keeps a reference.
    io_object_t handleOf(const Entry& entry);
    /// An iterator over its own copy, unaffected by changes of the registry.
    io_iterator_t handOutIterator(std::vector<Entry> entries, const char* call);
    /// One that walks the tree itself, over what stands below an entry: all, or its children alone.
    /// It ends as soon as an entry comes or goes.
    io_iterator_t handOutWalk(const Entry& from, bool recursively, const char* call);
    /// Nothing for a handle without references, or of an iterator.
    Entry entryOf(io_object_t handle) const;
    /// The iterator's next entry, or nothing at its end and for any other handle.
    Entry next(io_iterator_t iterator);
    /// The handle of that entry.
    io_object_t handOutNext(io_iterator_t iterator, const char* call);
    /// False for a handle without references.
    bool retain(io_object_t handle, const char* call);
    bool release(io_object_t handle);

    /// An iterator over the entries that match now and those added later: `deliver` is
    /// called with it when one is added after it had been emptied.
    io_iterator_t handOutNotification(const Match& match,
                                      std::function<void(io_iterator_t)> deliver, const char* call);

  private:
    /// Where a walk is in the tree.
    struct Walk {
        struct Level {
            const RegistryEntry* parent;
            std::size_t nextChild;
        };

        std::uint64_t changesBefore;  ///< how often the tree had changed when it began
        bool recursively;
        std::vector<Level> levels;
    };
    struct Iterator {
        std::deque<Entry> entries;
        Match match;
        std::function<void(io_iterator_t)> deliver;  ///< empty if nothing is notified
        bool armed = false;
        std::optional<Walk> walk;  ///< in place of the entries
        std::vector<const char*> references;
    };

    io_object_t handOutLocked(const Entry& entry, const char* call);
    std::pair<const io_iterator_t, Iterator>& addIteratorLocked(const char* call);
    Entry nextLocked(io_iterator_t iterator);
    Entry nextOf(Walk& walk) const;
    /// nullptr for a handle without references, or of an iterator.
    const Entry* entryOfLocked(io_object_t handle) const;
    io_object_t handleLocked(const Entry& entry);

    Ledger& ledger_;
    mutable std::mutex mutex_;
    Entry root_;
    std::uint64_t nextID_ = 0x100000100;
    // Entries have odd handles, in the order in which they were first handed out; iterators even
    // ones.
    std::vector<Entry> handedOut_;
    std::unordered_map<io_iterator_t, Iterator> iterators_;
    io_iterator_t nextIterator_ = 0x1000;
    std::uint64_t changes_ = 0;
};

}  // namespace simulated_mac
