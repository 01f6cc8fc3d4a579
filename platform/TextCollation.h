// TextCollation.h — internals shared by Text.cpp and TextCollation.cpp.
#pragma once

namespace varn::platform {

struct CollationKey;

/// Frees a collation key cached on a text (null is ignored).
void FreeCollationKey(CollationKey const* key) noexcept;

} // namespace varn::platform
