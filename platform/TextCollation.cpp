// TextCollation.cpp — localized comparison, case folding and case-insensitive search over ICU.
//
// Localized comparison works in three steps: a walk over the identical leading units (equal
// texts are equal and a proper prefix is less, without asking ICU), then the collator at
// secondary strength with a case level, then a pass over the collation elements that tells
// full-width from half-width forms and a combining mark from a precomposed letter. Texts that
// pass all three are equal, which is why two texts that differ only in ignorable characters
// compare equal.
//
// The case-sensitive collator result depends on the text alone, so it is taken from a sort
// key that each text computes once and keeps: repeated comparisons (dictionary keys, sorting)
// cost a memcmp.
#include "platform/TextCollation.h"

#include "platform/Text.h"

#include <unicode/uchar.h>
#include <unicode/ucol.h>
#include <unicode/ucoleitr.h>
#include <unicode/uloc.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <string>

namespace varn::platform {

struct CollationKey {
    std::uint32_t generation;
    std::uint32_t size; // bytes, the terminating zero included
    std::uint32_t hash; // of the bytes
    std::uint8_t* Bytes() { return reinterpret_cast<std::uint8_t*>(this + 1); }
    std::uint8_t const* Bytes() const { return reinterpret_cast<std::uint8_t const*>(this + 1); }
};

void FreeCollationKey(CollationKey const* key) noexcept {
    ::operator delete(const_cast<CollationKey*>(key));
}

namespace {

struct LocaleState {
    std::mutex mutex;
    std::string id;
    bool turkicFolding = false;
    std::atomic<std::uint32_t> generation{0}; // 0: not read yet
};

LocaleState& localeState() {
    static LocaleState* state = new LocaleState; // outlives every thread's collators
    return *state;
}

std::string localeFromEnvironment() {
    char const* value = nullptr;
    for (char const* name : {"LC_ALL", "LC_COLLATE", "LANG"}) {
        char const* v = std::getenv(name); // NOLINT(concurrency-mt-unsafe): read under a mutex
        if (v != nullptr && *v != '\0') {
            value = v;
            break;
        }
    }
    std::string id = value != nullptr ? value : "";
    id = id.substr(0, id.find_first_of(".@"));
    if (id.empty() || id == "C" || id == "POSIX") {
        return "en_US_POSIX";
    }
    char canonical[ULOC_FULLNAME_CAPACITY] = {};
    UErrorCode status = U_ZERO_ERROR;
    uloc_canonicalize(id.c_str(), canonical, sizeof canonical, &status);
    if (U_FAILURE(status) || canonical[0] == '\0') {
        return "en_US_POSIX";
    }
    return canonical;
}

// Reads the environment on first use; returns the generation of the current setting.
std::uint32_t currentGeneration() {
    LocaleState& state = localeState();
    std::uint32_t generation = state.generation.load(std::memory_order_acquire);
    if (generation != 0) {
        return generation;
    }
    std::lock_guard lock(state.mutex);
    generation = state.generation.load(std::memory_order_relaxed);
    if (generation == 0) {
        state.id = localeFromEnvironment();
        char language[ULOC_LANG_CAPACITY] = {};
        UErrorCode status = U_ZERO_ERROR;
        uloc_getLanguage(state.id.c_str(), language, sizeof language, &status);
        state.turkicFolding = std::strcmp(language, "tr") == 0 || std::strcmp(language, "az") == 0;
        generation = 1;
        state.generation.store(generation, std::memory_order_release);
    }
    return generation;
}

// Each thread keeps its own collators (ICU collators are not safe to share while their
// attributes differ), reopened when the locale setting changes.
struct ThreadCollators {
    std::uint32_t generation = 0;
    UCollator* keyed = nullptr;    // secondary strength with a case level: the sort keys
    UCollator* folded = nullptr;   // secondary strength, no case level: case-insensitive
    UCollator* elements = nullptr; // default strength: the collation-element pass
    bool turkic = false;

    ~ThreadCollators() { close(); }
    void close() {
        for (UCollator* c : {keyed, folded, elements}) {
            if (c != nullptr) {
                ucol_close(c);
            }
        }
        keyed = folded = elements = nullptr;
    }
};

UCollator* openCollator(std::string const& id, bool caseLevel, UCollationStrength strength) {
    UErrorCode status = U_ZERO_ERROR;
    UCollator* c = ucol_open(id.c_str(), &status);
    if (U_FAILURE(status)) {
        status = U_ZERO_ERROR;
        c = ucol_open("", &status);
        if (U_FAILURE(status)) {
            return nullptr;
        }
    }
    ucol_setAttribute(c, UCOL_NORMALIZATION_MODE, UCOL_ON, &status);
    ucol_setAttribute(c, UCOL_ALTERNATE_HANDLING, UCOL_NON_IGNORABLE, &status);
    ucol_setAttribute(c, UCOL_NUMERIC_COLLATION, UCOL_OFF, &status);
    ucol_setAttribute(c, UCOL_CASE_LEVEL, caseLevel ? UCOL_ON : UCOL_OFF, &status);
    ucol_setAttribute(c, UCOL_STRENGTH, strength, &status);
    return c;
}

ThreadCollators& collators() {
    thread_local ThreadCollators t;
    std::uint32_t generation = currentGeneration();
    if (t.generation != generation || t.keyed == nullptr) {
        t.close();
        LocaleState& state = localeState();
        std::string id;
        {
            std::lock_guard lock(state.mutex);
            id = state.id;
            t.turkic = state.turkicFolding;
        }
        t.keyed = openCollator(id, true, UCOL_SECONDARY);
        t.folded = openCollator(id, false, UCOL_SECONDARY);
        t.elements = openCollator(id, false, UCOL_DEFAULT_STRENGTH);
        t.generation = generation;
    }
    return t;
}

// Keys are short (a byte or two per character and level), so eight bytes at a time with a
// multiply-rotate step and a final mix spread them well enough for a table of powers of two.
std::uint32_t hashBytes(std::uint8_t const* bytes, std::uint32_t size) {
    std::uint64_t h = 0x9E3779B97F4A7C15ull ^ size;
    std::uint32_t i = 0;
    for (; i + 8 <= size; i += 8) {
        std::uint64_t chunk;
        std::memcpy(&chunk, bytes + i, 8);
        h = std::rotl((h ^ chunk) * 0xBF58476D1CE4E5B9ull, 31);
    }
    std::uint64_t tail = 0;
    std::memcpy(&tail, bytes + i, size - i);
    h = (h ^ tail) * 0x94D049BB133111EBull;
    h ^= h >> 29;
    h *= 0xBF58476D1CE4E5B9ull;
    h ^= h >> 32;
    return static_cast<std::uint32_t>(h);
}

CollationKey* computeKey(Text const* text, std::uint32_t generation) {
    UCollator* c = collators().keyed;
    std::uint8_t local[256];
    int32_t size = c == nullptr
                       ? 0
                       : ucol_getSortKey(c, reinterpret_cast<UChar const*>(text->Units()),
                                         static_cast<int32_t>(text->length), local, sizeof local);
    auto* key = static_cast<CollationKey*>(::operator new(sizeof(CollationKey) + size + 1));
    key->generation = generation;
    key->size = static_cast<std::uint32_t>(size);
    if (size <= static_cast<int32_t>(sizeof local)) {
        std::memcpy(key->Bytes(), local, size);
    } else {
        ucol_getSortKey(c, reinterpret_cast<UChar const*>(text->Units()),
                        static_cast<int32_t>(text->length), key->Bytes(), size);
    }
    key->hash = hashBytes(key->Bytes(), key->size);
    return key;
}

// The cached key when it belongs to the current locale; otherwise a fresh one that the caller
// frees (`owned`). The first key computed for a text is published with a compare-exchange so
// that racing threads agree on one and free the others.
CollationKey const* keyOf(Text const* text, bool& owned) {
    owned = false;
    std::uint32_t generation = currentGeneration();
    CollationKey const* cached = text->collationKey.load(std::memory_order_acquire);
    if (cached != nullptr && cached->generation == generation) {
        return cached;
    }
    CollationKey* fresh = computeKey(text, generation);
    if (cached == nullptr) {
        CollationKey const* expected = nullptr;
        if (text->collationKey.compare_exchange_strong(expected, fresh,
                                                       std::memory_order_acq_rel)) {
            return fresh;
        }
        if (expected->generation == generation) {
            FreeCollationKey(fresh);
            return expected;
        }
    }
    owned = true;
    return fresh;
}

int compareKeys(Text const* a, Text const* b) {
    bool ownA = false, ownB = false;
    CollationKey const* ka = keyOf(a, ownA);
    CollationKey const* kb = keyOf(b, ownB);
    std::uint32_t n = std::min(ka->size, kb->size);
    int c = std::memcmp(ka->Bytes(), kb->Bytes(), n);
    if (c == 0 && ka->size != kb->size) {
        c = ka->size < kb->size ? -1 : 1;
    }
    if (ownA)
        FreeCollationKey(ka);
    if (ownB)
        FreeCollationKey(kb);
    return c < 0 ? -1 : c > 0 ? 1 : 0;
}

bool isCombiningMark(Text const* text, int32_t from, int32_t to) {
    if (from < 0 || from >= to || static_cast<std::uint32_t>(from) >= text->length) {
        return false;
    }
    UChar32 cp;
    U16_GET(text->Units(), 0, from, static_cast<int32_t>(text->length), cp);
    return u_getCombiningClass(cp) > 0 || u_charType(cp) == U_NON_SPACING_MARK;
}

// Collation elements equal at the first two levels can still differ: in width (the tertiary
// weight of a full-width form) or in how a diacritic was written (a combining mark sorts
// before the same diacritic inside a precomposed letter). A width difference decides first.
int compareSpecials(Text const* a, Text const* b) {
    UCollator* c = collators().elements;
    if (c == nullptr) {
        return 0;
    }
    UErrorCode status = U_ZERO_ERROR;
    UCollationElements* ea = ucol_openElements(c, reinterpret_cast<UChar const*>(a->Units()),
                                               static_cast<int32_t>(a->length), &status);
    UCollationElements* eb = ucol_openElements(c, reinterpret_cast<UChar const*>(b->Units()),
                                               static_cast<int32_t>(b->length), &status);
    int width = 0, composition = 0;
    if (U_SUCCESS(status)) {
        int32_t prevA = 0, prevB = 0;
        while (width == 0) {
            int32_t oa, ob;
            do {
                prevA = ucol_getOffset(ea);
                oa = ucol_next(ea, &status);
            } while (oa == 0 && U_SUCCESS(status));
            do {
                prevB = ucol_getOffset(eb);
                ob = ucol_next(eb, &status);
            } while (ob == 0 && U_SUCCESS(status));
            if (U_FAILURE(status) || oa == UCOL_NULLORDER || ob == UCOL_NULLORDER) {
                break;
            }
            int32_t offA = ucol_getOffset(ea), offB = ucol_getOffset(eb);
            bool samePrimary = ucol_primaryOrder(oa) == ucol_primaryOrder(ob);
            bool sameSecondary = ucol_secondaryOrder(oa) == ucol_secondaryOrder(ob);
            if (samePrimary && sameSecondary) {
                int32_t ta = ucol_tertiaryOrder(oa), tb = ucol_tertiaryOrder(ob);
                if (ta >= 0x8F && ta <= 0x97)
                    ta -= 0x8A;
                if (tb >= 0x8F && tb <= 0x97)
                    tb -= 0x8A;
                if (ta != tb) {
                    width = ta < tb ? -1 : 1;
                } else if (composition == 0 && ucol_primaryOrder(oa) == 0 &&
                           ucol_secondaryOrder(oa) != 0) {
                    bool markA = offA > prevA && isCombiningMark(a, prevA, offA);
                    bool markB = offB > prevB && isCombiningMark(b, prevB, offB);
                    if (markA != markB) {
                        composition = markA ? -1 : 1;
                    }
                }
            }
        }
    }
    if (ea != nullptr)
        ucol_closeElements(ea);
    if (eb != nullptr)
        ucol_closeElements(eb);
    return width != 0 ? width : composition;
}

uint32_t foldOptions() {
    return collators().turkic ? U_FOLD_CASE_EXCLUDE_SPECIAL_I : U_FOLD_CASE_DEFAULT;
}

std::u16string foldCase(char16_t const* units, std::size_t count, uint32_t options) {
    std::u16string out(count + 8, u'\0');
    UErrorCode status = U_ZERO_ERROR;
    int32_t n = u_strFoldCase(
        reinterpret_cast<UChar*>(out.data()), static_cast<int32_t>(out.size()),
        reinterpret_cast<UChar const*>(units), static_cast<int32_t>(count), options, &status);
    if (status == U_BUFFER_OVERFLOW_ERROR) {
        out.assign(static_cast<std::size_t>(n), u'\0');
        status = U_ZERO_ERROR;
        n = u_strFoldCase(reinterpret_cast<UChar*>(out.data()), n,
                          reinterpret_cast<UChar const*>(units), static_cast<int32_t>(count),
                          options, &status);
    }
    if (U_FAILURE(status)) {
        return std::u16string(units, count);
    }
    out.resize(static_cast<std::size_t>(n));
    return out;
}

int compareLengths(std::size_t a, std::size_t b) {
    return a < b ? -1 : a > b ? 1 : 0;
}

} // namespace

std::string CollationLocale() {
    currentGeneration();
    LocaleState& state = localeState();
    std::lock_guard lock(state.mutex);
    return state.id;
}

void ResetCollationLocale() {
    LocaleState& state = localeState();
    std::uint32_t previous = currentGeneration();
    std::lock_guard lock(state.mutex);
    state.id = localeFromEnvironment();
    char language[ULOC_LANG_CAPACITY] = {};
    UErrorCode status = U_ZERO_ERROR;
    uloc_getLanguage(state.id.c_str(), language, sizeof language, &status);
    state.turkicFolding = std::strcmp(language, "tr") == 0 || std::strcmp(language, "az") == 0;
    state.generation.store(previous + 1, std::memory_order_release);
}

std::uint32_t CollationKeyPrefix(Text const* text, std::uint8_t* out, std::uint32_t capacity,
                                 std::uint32_t& fullSize, std::uint32_t& hash) {
    bool owned = false;
    CollationKey const* key = keyOf(text, owned);
    fullSize = key->size;
    hash = key->hash;
    std::memcpy(out, key->Bytes(), std::min(capacity, key->size));
    std::uint32_t const generation = key->generation;
    if (owned) {
        FreeCollationKey(key);
    }
    return generation;
}

int CompareLocalized(Text const* a, Text const* b, bool caseInsensitive) {
    if (!caseInsensitive) {
        if (SameUnits(a, b)) {
            return 0;
        }
        std::size_t n = std::min(a->length, b->length);
        auto mismatch = std::mismatch(a->Units(), a->Units() + n, b->Units());
        if (mismatch.first == a->Units() + n) {
            return compareLengths(a->length, b->length);
        }
        int c = compareKeys(a, b);
        return c != 0 ? c : compareSpecials(a, b);
    }
    uint32_t options = foldOptions();
    std::u16string fa = foldCase(a->Units(), a->length, options);
    std::u16string fb = foldCase(b->Units(), b->length, options);
    std::size_t n = std::min(fa.size(), fb.size());
    if (std::equal(fa.begin(), fa.begin() + static_cast<std::ptrdiff_t>(n), fb.begin())) {
        return compareLengths(fa.size(), fb.size());
    }
    UCollator* c = collators().folded;
    if (c != nullptr) {
        UCollationResult r = ucol_strcoll(
            c, reinterpret_cast<UChar const*>(a->Units()), static_cast<int32_t>(a->length),
            reinterpret_cast<UChar const*>(b->Units()), static_cast<int32_t>(b->length));
        if (r != UCOL_EQUAL) {
            return r == UCOL_LESS ? -1 : 1;
        }
    }
    return compareSpecials(a, b);
}

bool FindCaseInsensitive(Text const* text, Text const* pattern, bool backwards,
                         std::size_t& location, std::size_t& length) {
    if (text->length == 0 || pattern->length == 0) {
        return false;
    }
    uint32_t options = foldOptions();
    std::u16string needle = foldCase(pattern->Units(), pattern->length, options);
    // Fold the text one character at a time, remembering where each folded unit came from and
    // whether it starts a character's folding, so that matches map back to whole characters.
    std::u16string folded;
    std::vector<std::uint32_t> origin;
    std::vector<bool> boundary;
    folded.reserve(text->length);
    char16_t const* u = text->Units();
    int32_t const n = static_cast<int32_t>(text->length);
    for (int32_t i = 0; i < n;) {
        int32_t start = i;
        UChar32 cp;
        U16_NEXT(u, i, n, cp);
        std::u16string piece = foldCase(u + start, static_cast<std::size_t>(i - start), options);
        for (std::size_t k = 0; k < piece.size(); ++k) {
            folded.push_back(piece[k]);
            origin.push_back(static_cast<std::uint32_t>(start));
            boundary.push_back(k == 0);
        }
    }
    origin.push_back(static_cast<std::uint32_t>(n));
    boundary.push_back(true);
    std::size_t const m = needle.size();
    if (m == 0 || m > folded.size()) {
        return false;
    }
    auto matchesAt = [&](std::size_t pos) {
        return boundary[pos] && boundary[pos + m] &&
               std::equal(needle.begin(), needle.end(),
                          folded.begin() + static_cast<std::ptrdiff_t>(pos));
    };
    std::size_t const last = folded.size() - m;
    for (std::size_t k = 0; k <= last; ++k) {
        std::size_t pos = backwards ? last - k : k;
        if (matchesAt(pos)) {
            location = origin[pos];
            length = origin[pos + m] - origin[pos];
            return true;
        }
    }
    return false;
}

} // namespace varn::platform
