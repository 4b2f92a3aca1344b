// The library's conversions of TValue (TValueClassHelper).
//
// The operations are members of TValue (vnxml/rtl/Rtti.h); this unit implements those that
// stand on the type registry of uVnTypes:
//   ToByte, ToWord, ToLongWord, ToUInt64, ToShortInt, ToSmallInt, ToInteger, ToInt64,
//   ToSingle, ToDouble, ToExtended, ToBoolean, ToWideString (ARaise, ADefault): a value of any
//   simple kind, a Variant inside included, converted by the rules of Variant; enumerations
//   by ordinal or name, sets by mask or "[a,b]". The empty value, a nil object and an empty or
//   null variant give ADefault. A value that cannot be converted raises EConvertError
//   "Cannot convert the value "<text>" of type <type> to <target>" when ARaise is set, and
//   gives ADefault otherwise.
//   ToType(handle, result), IsNull(): see TValue.
//   TypeKind(), MainTypeKind(), VnTypeInfo(): the registry's view of the value's type.
#pragma once

#include "vnxml/common/uVnTypes.h"
#include "vnxml/rtl/Rtti.h"

namespace vn {

// The helper's operations are TValue's own; the name stands for them.
using TValueClassHelper = TValue;

}  // namespace vn
