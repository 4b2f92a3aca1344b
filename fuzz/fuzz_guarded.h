// The fuzz targets' guard: a piece of work on arbitrary input whose failures through the
// library's exceptions are expected outcomes; anything else leaves it and is a finding.
#pragma once

#include "vnxml/rtl/SysUtils.h"

namespace vnfuzz {

template <class F>
void Guarded(F AWork) {
  try {
    AWork();
  } catch (const vn::Exception &) {
    // The library's failures are expected outcomes of arbitrary input.
  }
}

}  // namespace vnfuzz
