// UTF-8 decoding shared by the text source and the readers' quick paths (internal; not
// installed).
#pragma once

#include <cstddef>

#include "vnxml/rtl/Types.h"

namespace vn::detail {

// Decodes well-formed UTF-8 into AOut, which has room for ASize units; false at the first
// ill-formed sequence, which the caller leaves to the converter with its replacement rules.
bool DecodeWellFormedUTF8(const Byte *AP, std::size_t ASize, char16_t *AOut,
                          std::size_t &ALen) noexcept;

}  // namespace vn::detail
