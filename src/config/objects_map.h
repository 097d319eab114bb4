#pragma once

// A small ordered dictionary: values under names, in order of insertion.

#include "config/name_hash.h"

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
// No lock of its own: the owner's lock guards it.
template <class V>
class ObjectsMap {
public:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    // Insertion beyond so many entries is refused; fewer than 2^32.
    explicit ObjectsMap(std::size_t mostEntries) : limit(mostEntries) {}

    std::size_t Size() const { return values.size(); }
    V& At(std::size_t position) { return values[position]; }
    const V& At(std::size_t position) const { return values[position]; }

    // Room for so many entries at once.
    void Reserve(std::size_t entries) {
        hashes.reserve(entries);
        values.reserve(entries);
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
        if (index && hashes[position] != hash) {
            AddToIndex(*index, hash, position);
            index->erase({hashes[position], static_cast<std::uint32_t>(position)});
        }
        hashes[position] = hash;
    }

    void RemoveAt(std::size_t position) {
        const auto offset = static_cast<std::ptrdiff_t>(position);
        hashes.erase(hashes.begin() + offset);
        values.erase(values.begin() + offset);
        index.reset();
        if (values.size() > kLinear) BuildIndex();
    }

    void Clear() { (void)Take(); }

    // Empties the map and gives what was in it.
    std::vector<V> Take() {
        index.reset();
        hashes.clear();
        return std::exchange(values, {});
    }

    auto begin() { return values.begin(); }
    auto end() { return values.end(); }
    auto begin() const { return values.begin(); }
    auto end() const { return values.end(); }

private:
    // Up to so many entries, going through the hashes is faster than a search tree.
    static constexpr std::size_t kLinear = 16;
    static constexpr std::uint64_t kNameless = 0;

    std::size_t FindHash(std::uint64_t hash) const {
        if (index) {
            const auto found = index->lower_bound({hash, 0});
            return found != index->end() && found->first == hash ? found->second : kNone;
        }
        for (std::size_t i = 0; i < hashes.size(); ++i)
            if (hashes[i] == hash) return i;
        return kNone;
    }

    bool AppendHash(std::uint64_t hash, V value) {
        if (values.size() >= limit) return false;
        const std::size_t room = values.size() + 1;
        if (room > values.capacity()) values.reserve(2 * values.size() + 1);
        if (room > hashes.capacity()) hashes.reserve(2 * hashes.size() + 1);
        if (values.size() >= kLinear) {
            if (!index) BuildIndex();
            AddToIndex(*index, hash, values.size());
        }
        hashes.push_back(hash);
        values.push_back(std::move(value));
        return true;
    }

    using Index = std::set<std::pair<std::uint64_t, std::uint32_t>>;

    static void AddToIndex(Index& into, std::uint64_t hash, std::size_t position) {
        if (hash != kNameless) into.insert({hash, static_cast<std::uint32_t>(position)});
    }

    void BuildIndex() {
        auto built = std::make_unique<Index>();
        for (std::size_t i = 0; i < hashes.size(); ++i) AddToIndex(*built, hashes[i], i);
        index = std::move(built);
    }

    const std::size_t limit;
    std::vector<std::uint64_t> hashes;
    std::vector<V> values;
    std::unique_ptr<Index> index;  // by hash, then by position; none while the map is small
};

}  // namespace qdvm
