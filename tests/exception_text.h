// What an action raises, as text, for tests that compare messages.
#pragma once

#include <functional>

#include "vnxml/rtl/SysUtils.h"

namespace vntest {

// The class name and message of the library exception that AAction raises, or "no exception".
inline vn::UnicodeString MessageOf(const std::function<void()> &AAction) {
  try {
    AAction();
  } catch (vn::Exception &e) {
    return e.ClassName() + u": " + e.Message;
  }
  return u"no exception";
}

// The message of the exception of class E that AAction raises, or "<no exception>".
template <class E>
vn::UnicodeString MessageOf(const std::function<void()> &AAction) {
  try {
    AAction();
  } catch (E &e) {
    return e.Message;
  }
  return u"<no exception>";
}

}  // namespace vntest
