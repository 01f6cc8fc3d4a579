// CUColor.h — an 8-bit-per-channel colour with alpha, and a few named colours.
//
// Note the argument orders, which are part of the interface: the four-argument forms take
// alpha first (alpha, red, green, blue); the three-argument Create takes red, green, blue and
// makes an opaque colour (alpha 255).
//
// Ownership: count 0 at construction; the Create factories and named colours return count 1.
// Threads: no lock. Errors: nothing throws.
#pragma once

#include <VarnUtilityLib/CUObject.h>

/// An 8-bit-per-channel colour with alpha, and a few named colours.
class CU_EXPORT CUColor : public CUObject {
  public:
    /// Transparent black: all four channels 0.
    CUColor();
    ~CUColor() override;

    /// A new colour from alpha, red, green and blue, in that order.
    static CUSharedPtr<CUColor> Create(unsigned char alpha, unsigned char red, unsigned char green,
                                       unsigned char blue);
    /// A new opaque colour (alpha 255) from red, green and blue.
    static CUSharedPtr<CUColor> Create(unsigned char red, unsigned char green, unsigned char blue);

    /// Sets alpha, red, green and blue, in that order. Returns true.
    bool Init(unsigned char alpha, unsigned char red, unsigned char green, unsigned char blue);

    unsigned char A() const noexcept { return m_alpha; } ///< alpha, 0 (clear) to 255 (opaque)
    unsigned char R() const noexcept { return m_red; }   ///< red, 0-255
    unsigned char G() const noexcept { return m_green; } ///< green, 0-255
    unsigned char B() const noexcept { return m_blue; }  ///< blue, 0-255

    /// New opaque named colours. DarkGray (169) is lighter than Gray (128), as the names of the
    /// web colours have it.
    static CUSharedPtr<CUColor> Red();       ///< 255, 0, 0
    static CUSharedPtr<CUColor> Black();     ///< 0, 0, 0
    static CUSharedPtr<CUColor> Gray();      ///< 128, 128, 128
    static CUSharedPtr<CUColor> DarkGray();  ///< 169, 169, 169
    static CUSharedPtr<CUColor> LightGray(); ///< 211, 211, 211
    static CUSharedPtr<CUColor> White();     ///< 255, 255, 255

  private:
    unsigned char m_alpha;
    unsigned char m_red;
    unsigned char m_green;
    unsigned char m_blue;
};
