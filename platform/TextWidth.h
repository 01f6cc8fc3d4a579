// TextWidth.h — how many terminal columns a text takes, for programs that line up columns.
#pragma once

#include <string>

namespace varn::platform {

/// Columns that the UTF-8 text takes on a terminal: wide and full-width characters (East Asian
/// width W or F) take two, combining marks and other zero-width characters none, the rest one.
/// Invalid bytes count one column each.
int DisplayWidth(std::string const& utf8) noexcept;

} // namespace varn::platform
