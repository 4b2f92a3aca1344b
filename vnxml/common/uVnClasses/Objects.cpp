#include "vnxml/common/uVnClasses.h"

namespace vn {

void TVnObjectEx::OnObjectDestroyed(TObject *) {}

void TVnObjectEx::AssignTo(TVnObjectEx *ADest) {
  throw EConvertError(u"Cannot assign a %s to a %s",
                      {ClassName(), ADest ? ADest->ClassName() : UnicodeString(u"nil")});
}

void TVnObjectEx::DefineProperties(TFiler *) {}

void TVnObjectEx::Assign(TVnObjectEx *ASource) {
  if (ASource) {
    ASource->AssignTo(this);
  } else {
    throw EConvertError(u"Cannot assign a %s to a %s", {u"nil", ClassName()});
  }
}

}  // namespace vn
