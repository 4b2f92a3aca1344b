// What the files of the serializer unit share and do not publish.
#pragma once

#include "vnxml/common/uVnTypes.h"
#include "vnxml/rtl/Rtti.h"

namespace vn::serializer_detail {

// The class of a type record, nil for a type that is no class.
inline TClass ClassOf(const TVnTypeInfo *AType) {
  if (!AType || !AType->RttiType || AType->RttiType->GetTypeKind() != tkClass) return nullptr;
  return AType->RttiType->AsInstance()->GetMetaclassType();
}

}  // namespace vn::serializer_detail
