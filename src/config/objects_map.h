#pragma once

// A small ordered dictionary: values under names, in order of insertion.

#include "config/name_hash.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

namespace qdvm {

// Names compare by NameHash with case folded, and only their hashes are kept here: a value that
// has to tell its name holds it. Several entries may share a name: a lookup then gives the first by
// position. Entries are only ever appended; removing one moves the later ones down and costs time
// linear in the entries.
//
// No lock of its own: the owner's lock guards it, lookups too, since they may build the index.
template <class V>
class ObjectsMap {
public:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    // Insertion beyond so many entries is refused; fewer than 2^32.
    explicit ObjectsMap(std::size_t mostEntries) : limit(mostEntries) {}

    std::size_t Size() const { return entries.size(); }
    V& At(std::size_t position) { return entries[position].value; }
    const V& At(std::size_t position) const { return entries[position].value; }

    // Room for so many more entries at once.
    void Reserve(std::size_t more) {
        const std::size_t needed = entries.size() + more;
        if (needed > entries.capacity()) entries.reserve(std::max(needed, 2 * entries.size()));
    }

    // The first entry of that name, kNone if there is none.
    std::size_t Find(std::u16string_view name) const { return FindHash(NameHash(name, true)); }

    // False if the map is full. The map stays unchanged then, and when memory is short.
    bool Append(std::u16string_view name, V value) {
        return AppendHash(NameHash(name, true), std::move(value));
    }

    // An entry that no lookup finds.
    bool AppendNameless(V value) { return AppendHash(kNameless, std::move(value)); }

    // One lookup for both: appends if the name is new. Gives the entry's position and whether it is
    // new; kNone if the map is full.
    template <class Make>
    std::pair<std::size_t, bool> FindOrAppend(std::u16string_view name, Make&& make) {
        const std::uint64_t hash = NameHash(name, true);
        const std::size_t found = FindHash(hash);
        if (found != kNone) return {found, false};
        return AppendHash(hash, make()) ? std::pair{Size() - 1, true} : std::pair{kNone, false};
    }

    void Rename(std::size_t position, std::u16string_view name) {
        const std::uint64_t hash = NameHash(name, true);
        Entry& entry = entries[position];
        if (index && entry.hash != hash) {
            AddToIndex(*index, hash, position);
            index->erase({entry.hash, static_cast<std::uint32_t>(position)});
        }
        entry.hash = hash;
    }

    void RemoveAt(std::size_t position) {
        entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(position));
        index.reset();
    }

    void Clear() { (void)Take(); }

    struct Entry {
        std::uint64_t hash;  // of the name
        V value;
    };

    // Empties the map and gives what was in it.
    std::vector<Entry> Take() {
        index.reset();
        return std::exchange(entries, {});
    }

    auto begin() { return entries.begin(); }
    auto end() { return entries.end(); }
    auto begin() const { return entries.begin(); }
    auto end() const { return entries.end(); }

private:
    // Up to so many entries, going through the hashes is faster than a search tree.
    static constexpr std::size_t kLinear = 16;
    static constexpr std::uint64_t kNameless = 0;

    std::size_t FindHash(std::uint64_t hash) const {
        if (entries.size() > kLinear) return FindInIndex(hash);
        for (const Entry& entry : entries)
            if (entry.hash == hash) return static_cast<std::size_t>(&entry - entries.data());
        return kNone;
    }

    std::size_t FindInIndex(std::uint64_t hash) const {
        if (!index) BuildIndex();
        const auto found = index->lower_bound({hash, 0});
        return found != index->end() && found->first == hash ? found->second : kNone;
    }

    bool AppendHash(std::uint64_t hash, V&& value) {
        if (entries.size() >= limit) return false;
        Reserve(1);
        if (index) AddToIndex(*index, hash, entries.size());
        entries.push_back({hash, std::move(value)});
        return true;
    }

    using Index = std::set<std::pair<std::uint64_t, std::uint32_t>>;

    static void AddToIndex(Index& into, std::uint64_t hash, std::size_t position) {
        if (hash != kNameless) into.insert({hash, static_cast<std::uint32_t>(position)});
    }

    void BuildIndex() const {
        auto built = std::make_unique<Index>();
        for (std::size_t i = 0; i < entries.size(); ++i) AddToIndex(*built, entries[i].hash, i);
        index = std::move(built);
    }

    const std::size_t limit;
    std::vector<Entry> entries;
    mutable std::unique_ptr<Index> index;  // by hash, then by position; none until it is needed
};

}  // namespace qdvm
