// CUColor.cpp — colour values and the named colours.
#include <VarnUtilityLib/CUColor.h>

CUColor::CUColor() : m_alpha(0), m_red(0), m_green(0), m_blue(0) {}

CUColor::~CUColor() = default;

CUSharedPtr<CUColor> CUColor::Create(unsigned char alpha, unsigned char red, unsigned char green,
                                     unsigned char blue) {
    CUSharedPtr<CUColor> color(new CUColor);
    color->Init(alpha, red, green, blue);
    return color;
}

CUSharedPtr<CUColor> CUColor::Create(unsigned char red, unsigned char green, unsigned char blue) {
    return Create(255, red, green, blue);
}

bool CUColor::Init(unsigned char alpha, unsigned char red, unsigned char green,
                   unsigned char blue) {
    m_alpha = alpha;
    m_red = red;
    m_green = green;
    m_blue = blue;
    return true;
}

CUSharedPtr<CUColor> CUColor::Red() {
    return Create(255, 0, 0);
}

CUSharedPtr<CUColor> CUColor::Black() {
    return Create(0, 0, 0);
}

CUSharedPtr<CUColor> CUColor::Gray() {
    return Create(128, 128, 128);
}

CUSharedPtr<CUColor> CUColor::DarkGray() {
    return Create(169, 169, 169);
}

CUSharedPtr<CUColor> CUColor::LightGray() {
    return Create(211, 211, 211);
}

CUSharedPtr<CUColor> CUColor::White() {
    return Create(255, 255, 255);
}
