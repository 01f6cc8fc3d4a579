// CUVector.cpp — the text form of the eight vector types, and their factories.
#include <VarnUtilityLib/CUVector.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <type_traits>

namespace {

// The pair of formats for an element type, and the value as the format's argument: 8-, 16-
// and 32-bit values are widened to int / unsigned int with their sign or with zeros.
template <class T> struct ElementFormat;

template <class T>
requires(std::is_signed_v<T> && sizeof(T) <= sizeof(int)) struct ElementFormat<T> {
    static constexpr char const* withComma = " %d,";
    static constexpr char const* last = " %d";
    static int Arg(T v) { return v; }
};

template <class T>
requires(std::is_unsigned_v<T> && sizeof(T) <= sizeof(unsigned int)) struct ElementFormat<T> {
    static constexpr char const* withComma = " %u,";
    static constexpr char const* last = " %u";
    static unsigned int Arg(T v) { return v; }
};

template <> struct ElementFormat<long long> {
    static constexpr char const* withComma = " %lld,";
    static constexpr char const* last = " %lld";
    static long long Arg(long long v) { return v; }
};

template <> struct ElementFormat<unsigned long long> {
    static constexpr char const* withComma = " %llu,";
    static constexpr char const* last = " %llu";
    static unsigned long long Arg(unsigned long long v) { return v; }
};

} // namespace

template <class T> CUSharedPtr<CUStringMac> CUVector<T>::Description() {
    using Format = ElementFormat<T>;
    std::vector<T> const& elements = *this;
    std::string text = "{";
    if (!elements.empty()) {
        char item[32]; // " -9223372036854775808," needs 23 bytes with the terminator
        std::uint32_t const last = static_cast<std::uint32_t>(elements.size() - 1);
        for (std::uint32_t i = 0; i < last; ++i) {
            std::snprintf(item, sizeof item, Format::withComma, Format::Arg(elements[i]));
            text += item;
        }
        std::snprintf(item, sizeof item, Format::last, Format::Arg(elements[last]));
        text += item;
    }
    text += "}";
    return CUSharedPtr<CUStringMac>(new CUStringMac(text.c_str(), CUString_CharCode_UTF8));
}

template class CUVector<signed char>;
template class CUVector<unsigned char>;
template class CUVector<short>;
template class CUVector<unsigned short>;
template class CUVector<int>;
template class CUVector<unsigned int>;
template class CUVector<long long>;
template class CUVector<unsigned long long>;

CUSharedPtr<CUVector<signed char>> CreateCUVectorSInt8() {
    return CUSharedPtr<CUVector<signed char>>(new CUVector<signed char>());
}
CUSharedPtr<CUVector<unsigned char>> CreateCUVectorUInt8() {
    return CUSharedPtr<CUVector<unsigned char>>(new CUVector<unsigned char>());
}
CUSharedPtr<CUVector<short>> CreateCUVectorSInt16() {
    return CUSharedPtr<CUVector<short>>(new CUVector<short>());
}
CUSharedPtr<CUVector<unsigned short>> CreateCUVectorUInt16() {
    return CUSharedPtr<CUVector<unsigned short>>(new CUVector<unsigned short>());
}
CUSharedPtr<CUVector<int>> CreateCUVectorSInt32() {
    return CUSharedPtr<CUVector<int>>(new CUVector<int>());
}
CUSharedPtr<CUVector<unsigned int>> CreateCUVectorUInt32() {
    return CUSharedPtr<CUVector<unsigned int>>(new CUVector<unsigned int>());
}
CUSharedPtr<CUVector<long long>> CreateCUVectorSInt64() {
    return CUSharedPtr<CUVector<long long>>(new CUVector<long long>());
}
CUSharedPtr<CUVector<unsigned long long>> CreateCUVectorUInt64() {
    return CUSharedPtr<CUVector<unsigned long long>>(new CUVector<unsigned long long>());
}
