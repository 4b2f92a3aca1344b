#include "vnxml/rtl/SysUtils.h"

namespace vn {

Exception::Exception(const UnicodeString &AFormat, std::initializer_list<TVarRec> AArgs)
    : Message(Format(AFormat, TVarRecs(AArgs.begin(), AArgs.size()))) {}

Exception::Exception(const UnicodeString &AFormat, TVarRecs AArgs)
    : Message(Format(AFormat, AArgs)) {}

const char *Exception::what() const noexcept {
  try {
    FWhat = UTF8Encode(Message);
  } catch (...) {
    return "Exception";
  }
  return FWhat.c_str();
}

void AssertFailed(const UnicodeString &AMessage, const char *AFile, Integer ALine) {
  throw EAssertionFailed(Format(u"%s (%s, line %d)", {AMessage, AFile, ALine}));
}

void CheckSafecallResult(HRESULT AResult) {
  if (AResult >= 0) return;
  ESafecallException e(u"Exception in safecall method");
  e.ErrorCode = AResult;
  throw e;
}

void AbstractError() {
  throw EAbstractError(u"Abstract Error");
}

}  // namespace vn
