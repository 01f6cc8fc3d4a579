// DictionaryIndex.h — the hash table a large dictionary keeps beside its tree.
//
// Open addressing with linear probing over the entries' collation-key hashes. A slot holds the
// hash and the tree's iterator to the entry (a std::map's iterators stay valid until their own
// entry is erased). Removal shifts
// the following slots back, so there are no tombstones. Every hash in one table belongs to one
// locale generation; a key of another generation is never added (the dictionary drops the
// table instead) and a probe of another generation is answered by the tree.
#pragma once

#include <VarnUtilityLib/CUDictionary.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace varn {

class DictionaryIndex {
  public:
    using Entry = CUDictionary::Map::iterator;

    explicit DictionaryIndex(std::uint32_t generation) : m_generation(generation) {}

    /// The locale generation of every hash held.
    std::uint32_t Generation() const { return m_generation; }

    /// The entry whose key equals `probe` (which must be of this generation) into `found`;
    /// false when there is none.
    bool Find(CUDictionaryKeyInfo const& probe, Entry& found) const {
        if (m_slots.empty()) {
            return false;
        }
        std::size_t const mask = m_slots.size() - 1;
        for (std::size_t i = probe.hash & mask;; i = (i + 1) & mask) {
            Slot const& slot = m_slots[i];
            if (!slot.used) {
                return false;
            }
            if (slot.hash == probe.hash &&
                CUDictionaryKeyOrder::Compare(probe, slot.entry->first.info) == 0) {
                found = slot.entry;
                return true;
            }
        }
    }

    /// Adds an entry whose key is not held yet.
    void Insert(Entry entry) {
        if ((m_count + 1) * 4 > m_slots.size() * 3) {
            grow();
        }
        place(entry);
        ++m_count;
    }

    /// Removes `entry`, if held.
    void Erase(Entry entry) {
        if (m_slots.empty()) {
            return;
        }
        std::size_t const mask = m_slots.size() - 1;
        std::size_t i = entry->first.info.hash & mask;
        while (!m_slots[i].used || m_slots[i].entry != entry) {
            if (!m_slots[i].used) {
                return;
            }
            i = (i + 1) & mask;
        }
        // Each following slot of the run moves into the hole unless its home lies cyclically
        // after the hole, where a look-up starting at its home would never pass the hole.
        for (std::size_t j = (i + 1) & mask; m_slots[j].used; j = (j + 1) & mask) {
            std::size_t const home = m_slots[j].hash & mask;
            if (((j - home) & mask) >= ((j - i) & mask)) {
                m_slots[i] = m_slots[j];
                i = j;
            }
        }
        m_slots[i] = Slot{};
        --m_count;
    }

  private:
    struct Slot {
        std::uint32_t hash = 0;
        bool used = false;
        Entry entry{};
    };

    void place(Entry entry) {
        std::size_t const mask = m_slots.size() - 1;
        std::size_t i = entry->first.info.hash & mask;
        while (m_slots[i].used) {
            i = (i + 1) & mask;
        }
        m_slots[i] = Slot{entry->first.info.hash, true, entry};
    }

    void grow() {
        std::vector<Slot> old(m_slots.empty() ? 64 : m_slots.size() * 2);
        old.swap(m_slots);
        for (Slot const& slot : old) {
            if (slot.used) {
                place(slot.entry);
            }
        }
    }

    std::uint32_t m_generation;
    std::size_t m_count = 0;
    std::vector<Slot> m_slots;
};

} // namespace varn
