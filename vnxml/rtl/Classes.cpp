// Persistent objects, string lists, pointer and object lists, and components.
#include "vnxml/rtl/Classes.h"

#include <unicode/uchar.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <exception>
#include <string>

#include "vnxml/rtl/Streams.h"

namespace vn {

namespace {

constexpr const char16_t *cListIndexError = u"List index out of bounds (%d)";
constexpr const char16_t *cListCapacityError = u"List capacity out of bounds (%d)";
constexpr const char16_t *cListCountError = u"List count out of bounds (%d)";
constexpr const char16_t *cSortedListError = u"Operation not allowed on sorted list";
constexpr const char16_t *cDuplicateString = u"String list does not allow duplicates";

// Orders the indexes 0..ACount-1 with a merge sort that takes the left item unless ACompare
// says it is greater. Stable, and safe with a comparison that is not consistent.
template <class Compare>
std::vector<Integer> StableOrder(Integer ACount, Compare ACompare) {
  std::vector<Integer> order(static_cast<std::size_t>(ACount));
  for (Integer i = 0; i < ACount; ++i) order[static_cast<std::size_t>(i)] = i;
  std::vector<Integer> buffer(order.size());
  for (std::size_t width = 1; width < order.size(); width *= 2) {
    for (std::size_t lo = 0; lo < order.size(); lo += 2 * width) {
      const std::size_t mid = std::min(lo + width, order.size());
      const std::size_t hi = std::min(lo + 2 * width, order.size());
      std::size_t i = lo, j = mid, k = lo;
      while (i < mid && j < hi)
        buffer[k++] = ACompare(order[i], order[j]) <= 0 ? order[i++] : order[j++];
      while (i < mid) buffer[k++] = order[i++];
      while (j < hi) buffer[k++] = order[j++];
    }
    order.swap(buffer);
  }
  return order;
}

Integer FoldCompare(const UnicodeString &S1, const UnicodeString &S2) {
  UErrorCode err = U_ZERO_ERROR;
  const int32_t r =
      u_strCaseCompare(reinterpret_cast<const UChar *>(S1.data()), static_cast<int32_t>(S1.size()),
                       reinterpret_cast<const UChar *>(S2.data()), static_cast<int32_t>(S2.size()),
                       U_FOLD_CASE_DEFAULT, &err);
  return r < 0 ? -1 : (r > 0 ? 1 : 0);
}

Integer OrdinalCompare(const UnicodeString &S1, const UnicodeString &S2) {
  const int r = S1.compare(S2);
  return r < 0 ? -1 : (r > 0 ? 1 : 0);
}

bool IsBlank(char16_t C) noexcept {
  return C >= 1 && C <= u' ';
}

// Letters, digits and underscores, not starting with a digit.
bool IsValidIdent(const UnicodeString &AIdent) {
  if (AIdent.empty()) return false;
  const int32_t len = static_cast<int32_t>(AIdent.size());
  int32_t i = 0;
  bool first = true;
  while (i < len) {
    UChar32 c;
    U16_NEXT(AIdent.data(), i, len, c);
    const bool ok = c == u'_' ||
                    (c < 128 ? ((c | 0x20) >= 'a' && (c | 0x20) <= 'z') : u_isalpha(c)) ||
                    (!first && (c < 128 ? (c >= '0' && c <= '9') : u_isdigit(c)));
    if (!ok) return false;
    first = false;
  }
  return true;
}

// Frees each object, lets the rest be freed when one fails, and passes the first failure on.
void FreeObjects(const std::vector<TObject *> &AObjects) {
  std::exception_ptr failure;
  for (TObject *o : AObjects) {
    if (!o) continue;
    try {
      o->Free();
    } catch (...) {
      if (!failure) failure = std::current_exception();
    }
  }
  if (failure) std::rethrow_exception(failure);
}

UnicodeString DecodeStreamBytes(const std::string &ABytes) {
  const auto *b = reinterpret_cast<const unsigned char *>(ABytes.data());
  const std::size_t n = ABytes.size();
  if (n >= 3 && b[0] == 0xEF && b[1] == 0xBB && b[2] == 0xBF)
    return UTF8ToString(std::string_view(ABytes).substr(3));
  if (n >= 2 && ((b[0] == 0xFF && b[1] == 0xFE) || (b[0] == 0xFE && b[1] == 0xFF))) {
    const bool little = b[0] == 0xFF;
    UnicodeString r;
    r.reserve((n - 2) / 2);
    for (std::size_t i = 2; i + 1 < n; i += 2)
      r.push_back(little ? static_cast<char16_t>(b[i] | (b[i + 1] << 8))
                         : static_cast<char16_t>((b[i] << 8) | b[i + 1]));
    return r;
  }
  return UTF8ToString(ABytes);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// TPersistent

void TPersistent::Assign(TPersistent *ASource) {
  if (ASource)
    ASource->AssignTo(this);
  else
    AssignError(nullptr);
}

void TPersistent::AssignTo(TPersistent *ADest) {
  ADest->AssignError(this);
}

void TPersistent::AssignError(TPersistent *ASource) {
  const UnicodeString source = ASource ? ASource->ClassName() : UnicodeString(u"nil");
  throw EConvertError(u"Cannot assign a %s to a %s", {source, ClassName()});
}

UnicodeString TPersistent::GetNamePath() {
  UnicodeString r = ClassName();
  if (TPersistent *owner = GetOwner()) {
    const UnicodeString path = owner->GetNamePath();
    if (!path.empty()) r = path + u"." + r;
  }
  return r;
}

void TPersistent::DefineProperties(TFiler *) {}

TPersistent *TPersistent::GetOwner() {
  return nullptr;
}

// ---------------------------------------------------------------------------------------------
// TStrings

UnicodeString TStringsIterator::operator*() const {
  return FList->Get(FIndex);
}

void TStrings::Put(Integer AIndex, const UnicodeString &S) {
  BeginUpdate();
  try {
    TObject *obj = GetObject(AIndex);
    Delete(AIndex);
    InsertObject(AIndex, S, obj);
  } catch (...) {
    EndUpdate();
    throw;
  }
  EndUpdate();
}

TObject *TStrings::GetObject(Integer) const {
  return nullptr;
}

void TStrings::PutObject(Integer, TObject *) {}

void TStrings::InsertObject(Integer AIndex, const UnicodeString &S, TObject *AObject) {
  Insert(AIndex, S);
  PutObject(AIndex, AObject);
}

Integer TStrings::Add(const UnicodeString &S) {
  return AddObject(S, nullptr);
}

Integer TStrings::AddObject(const UnicodeString &S, TObject *AObject) {
  const Integer r = Count();
  InsertObject(r, S, AObject);
  return r;
}

TStrings &TStrings::AddPair(const UnicodeString &AName, const UnicodeString &AValue) {
  Add(AName + FNameValueSeparator + AValue);
  return *this;
}

TStrings &TStrings::AddPair(const UnicodeString &AName, const UnicodeString &AValue,
                            TObject *AObject) {
  AddObject(AName + FNameValueSeparator + AValue, AObject);
  return *this;
}

void TStrings::AddStrings(TStrings *AStrings) {
  BeginUpdate();
  try {
    // Counted once, so that adding a list to itself doubles it and ends.
    const Integer n = AStrings->Count();
    for (Integer i = 0; i < n; ++i) AddObject(AStrings->Get(i), AStrings->GetObject(i));
  } catch (...) {
    EndUpdate();
    throw;
  }
  EndUpdate();
}

void TStrings::AddStrings(std::initializer_list<UnicodeString> AStrings) {
  BeginUpdate();
  try {
    for (const UnicodeString &s : AStrings) Add(s);
  } catch (...) {
    EndUpdate();
    throw;
  }
  EndUpdate();
}

void TStrings::AddStrings(const std::vector<UnicodeString> &AStrings) {
  BeginUpdate();
  try {
    for (const UnicodeString &s : AStrings) Add(s);
  } catch (...) {
    EndUpdate();
    throw;
  }
  EndUpdate();
}

void TStrings::Assign(TPersistent *ASource) {
  if (ASource == this) return;
  if (ASource && ASource->Is<TStrings>()) {
    auto *src = static_cast<TStrings *>(ASource);
    BeginUpdate();
    try {
      Clear();
      FLineBreak = src->FLineBreak;
      FDelimiter = src->FDelimiter;
      FQuoteChar = src->FQuoteChar;
      FNameValueSeparator = src->FNameValueSeparator;
      FStrictDelimiter = src->FStrictDelimiter;
      FTrailingLineBreak = src->FTrailingLineBreak;
      AddStrings(src);
    } catch (...) {
      EndUpdate();
      throw;
    }
    EndUpdate();
    return;
  }
  inherited::Assign(ASource);
}

void TStrings::Exchange(Integer AIndex1, Integer AIndex2) {
  BeginUpdate();
  try {
    const UnicodeString s = Get(AIndex1);
    TObject *o = GetObject(AIndex1);
    Put(AIndex1, Get(AIndex2));
    PutObject(AIndex1, GetObject(AIndex2));
    Put(AIndex2, s);
    PutObject(AIndex2, o);
  } catch (...) {
    EndUpdate();
    throw;
  }
  EndUpdate();
}

void TStrings::Move(Integer ACurIndex, Integer ANewIndex) {
  if (ACurIndex == ANewIndex) return;
  BeginUpdate();
  try {
    const UnicodeString s = Get(ACurIndex);
    TObject *o = GetObject(ACurIndex);
    // The object leaves with its line, so a list that owns objects must not free it.
    PutObject(ACurIndex, nullptr);
    Delete(ACurIndex);
    InsertObject(ANewIndex, s, o);
  } catch (...) {
    EndUpdate();
    throw;
  }
  EndUpdate();
}

Integer TStrings::IndexOf(const UnicodeString &S) const {
  const Integer n = Count();
  for (Integer i = 0; i < n; ++i)
    if (CompareStrings(Get(i), S) == 0) return i;
  return -1;
}

Integer TStrings::IndexOfName(const UnicodeString &AName) const {
  const Integer n = Count();
  for (Integer i = 0; i < n; ++i) {
    const UnicodeString s = Get(i);
    const auto p = s.find(FNameValueSeparator);
    if (p != UnicodeString::npos && CompareStrings(s.substr(0, p), AName) == 0) return i;
  }
  return -1;
}

Integer TStrings::IndexOfObject(TObject *AObject) const {
  const Integer n = Count();
  for (Integer i = 0; i < n; ++i)
    if (GetObject(i) == AObject) return i;
  return -1;
}

bool TStrings::Equals(TStrings *AStrings) const {
  const Integer n = Count();
  if (!AStrings || n != AStrings->Count()) return false;
  for (Integer i = 0; i < n; ++i)
    if (Get(i) != AStrings->Get(i)) return false;
  return true;
}

UnicodeString TStrings::Names(Integer AIndex) const {
  const UnicodeString s = Get(AIndex);
  const auto p = s.find(FNameValueSeparator);
  return p == UnicodeString::npos ? UnicodeString() : s.substr(0, p);
}

UnicodeString TStrings::ValueFromIndex(Integer AIndex) const {
  if (AIndex < 0) return UnicodeString();
  const UnicodeString s = Get(AIndex);
  const auto p = s.find(FNameValueSeparator);
  return p == UnicodeString::npos ? UnicodeString() : s.substr(p + 1);
}

void TStrings::SetValueFromIndex(Integer AIndex, const UnicodeString &AValue) {
  if (!AValue.empty()) {
    if (AIndex < 0) AIndex = Add(UnicodeString());
    Put(AIndex, Names(AIndex) + FNameValueSeparator + AValue);
  } else if (AIndex >= 0) {
    Delete(AIndex);
  }
}

UnicodeString TStrings::Values(const UnicodeString &AName) const {
  // The value starts behind the separator of the line found: a name that matched without
  // regard to case may differ in length from AName.
  return ValueFromIndex(IndexOfName(AName));
}

void TStrings::SetValue(const UnicodeString &AName, const UnicodeString &AValue) {
  Integer i = IndexOfName(AName);
  if (!AValue.empty()) {
    if (i < 0) i = Add(UnicodeString());
    Put(i, AName + FNameValueSeparator + AValue);
  } else if (i >= 0) {
    Delete(i);
  }
}

UnicodeString TStrings::Text() const {
  const Integer n = Count();
  UnicodeString r;
  for (Integer i = 0; i < n; ++i) {
    r += Get(i);
    if (FTrailingLineBreak || i + 1 < n) r += FLineBreak;
  }
  return r;
}

void TStrings::SetText(const UnicodeString &AText) {
  BeginUpdate();
  try {
    Clear();
    const std::size_t n = AText.size();
    std::size_t start = 0;
    if (FLineBreak == u"\r\n" || FLineBreak.empty()) {
      while (start < n) {
        std::size_t p = start;
        while (p < n && AText[p] != u'\r' && AText[p] != u'\n') ++p;
        Add(AText.substr(start, p - start));
        if (p < n && AText[p] == u'\r') ++p;
        if (p < n && AText[p] == u'\n') ++p;
        start = p;
      }
    } else {
      while (start < n) {
        const std::size_t p = AText.find(FLineBreak, start);
        if (p == UnicodeString::npos) {
          Add(AText.substr(start));
          break;
        }
        Add(AText.substr(start, p - start));
        start = p + FLineBreak.size();
      }
    }
  } catch (...) {
    EndUpdate();
    throw;
  }
  EndUpdate();
}

UnicodeString TStrings::CommaText() const {
  return DelimitedTextWith(u',', u'"', false);
}

void TStrings::SetCommaText(const UnicodeString &AText) {
  SetDelimitedTextWith(AText, u',', u'"', false);
}

UnicodeString TStrings::DelimitedText() const {
  return DelimitedTextWith(FDelimiter, FQuoteChar, FStrictDelimiter);
}

void TStrings::SetDelimitedText(const UnicodeString &AText) {
  SetDelimitedTextWith(AText, FDelimiter, FQuoteChar, FStrictDelimiter);
}

UnicodeString TStrings::DelimitedTextWith(char16_t ADelimiter, char16_t AQuote,
                                          bool AStrict) const {
  const Integer n = Count();
  if (n == 1 && Get(0).empty()) return UnicodeString(2, AQuote);
  UnicodeString r;
  for (Integer i = 0; i < n; ++i) {
    const UnicodeString s = Get(i);
    // The line is scanned as a zero-terminated text: a NUL ends the scan without quoting.
    bool quote = false;
    for (char16_t c : s) {
      if (c == 0) break;
      if (c == AQuote || c == ADelimiter || (!AStrict && IsBlank(c))) {
        quote = true;
        break;
      }
    }
    if (quote) {
      r += AQuote;
      for (char16_t c : s) {
        r += c;
        if (c == AQuote) r += c;
      }
      r += AQuote;
    } else {
      r += s;
    }
    if (i + 1 < n) r += ADelimiter;
  }
  return r;
}

void TStrings::SetDelimitedTextWith(const UnicodeString &AText, char16_t ADelimiter,
                                    char16_t AQuote, bool AStrict) {
  // The text is read as a zero-terminated text.
  const UnicodeString text = AText.substr(0, AText.find(u'\0'));
  const std::size_t n = text.size();
  auto blank = [&](std::size_t i) { return !AStrict && i < n && IsBlank(text[i]); };
  BeginUpdate();
  try {
    Clear();
    std::size_t p = 0;
    while (blank(p)) ++p;
    while (p < n) {
      UnicodeString s;
      if (text[p] == AQuote) {
        // Up to the next single quote character; a doubled one stands for itself. Without a
        // closing quote the item runs to the end.
        ++p;
        while (p < n) {
          if (text[p] == AQuote) {
            if (p + 1 < n && text[p + 1] == AQuote) {
              s += AQuote;
              p += 2;
              continue;
            }
            ++p;
            break;
          }
          s += text[p++];
        }
      } else {
        const std::size_t start = p;
        while (p < n && (AStrict || text[p] > u' ') && text[p] != ADelimiter) ++p;
        s = text.substr(start, p - start);
      }
      Add(s);
      while (blank(p)) ++p;
      if (p < n && text[p] == ADelimiter) {
        if (p + 1 == n) Add(UnicodeString());
        do {
          ++p;
        } while (blank(p));
      }
    }
  } catch (...) {
    EndUpdate();
    throw;
  }
  EndUpdate();
}

void TStrings::BeginUpdate() {
  if (FUpdateCount == 0) SetUpdateState(true);
  ++FUpdateCount;
}

void TStrings::EndUpdate() {
  if (FUpdateCount <= 0) return;
  --FUpdateCount;
  if (FUpdateCount == 0) SetUpdateState(false);
}

void TStrings::SetUpdateState(bool) {}

Integer TStrings::CompareStrings(const UnicodeString &S1, const UnicodeString &S2) const {
  return FoldCompare(S1, S2);
}

void TStrings::LoadFromStream(TStream *AStream) {
  const Int64 size = AStream->GetSize() - AStream->GetPosition();
  std::string bytes(static_cast<std::size_t>(size > 0 ? size : 0), '\0');
  if (!bytes.empty()) AStream->ReadBuffer(bytes.data(), static_cast<Int64>(bytes.size()));
  SetText(DecodeStreamBytes(bytes));
}

void TStrings::SaveToStream(TStream *AStream) {
  const std::string bytes = UTF8Encode(Text());
  if (!bytes.empty()) AStream->WriteBuffer(bytes.data(), static_cast<Int64>(bytes.size()));
}

void TStrings::LoadFromFile(const UnicodeString &AFileName) {
  TFileStream *stream = New<TFileStream>(AFileName, Word(fmOpenRead | fmShareDenyWrite));
  try {
    LoadFromStream(stream);
  } catch (...) {
    stream->Free();
    throw;
  }
  stream->Free();
}

void TStrings::SaveToFile(const UnicodeString &AFileName) {
  TFileStream *stream = New<TFileStream>(AFileName, fmCreate);
  try {
    SaveToStream(stream);
  } catch (...) {
    stream->Free();
    throw;
  }
  stream->Free();
}

std::vector<UnicodeString> TStrings::ToStringArray() const {
  std::vector<UnicodeString> r;
  const Integer n = Count();
  r.reserve(static_cast<std::size_t>(n));
  for (Integer i = 0; i < n; ++i) r.push_back(Get(i));
  return r;
}

// ---------------------------------------------------------------------------------------------
// TStringList

TStringList::TStringList(TDuplicates ADuplicates, bool ASorted, bool ACaseSensitive)
    : FDuplicates(ADuplicates), FSorted(ASorted), FCaseSensitive(ACaseSensitive) {}

TStringList::~TStringList() {
  OnChange = nullptr;
  OnChanging = nullptr;
  if (!FOwnsObjects) return;
  std::vector<TObject *> objects;
  for (const TStringItem &item : FList) objects.push_back(item.FObject);
  FList.clear();
  // A destructor cannot pass a failure on; an object that refuses to go stays alive.
  try {
    FreeObjects(objects);
  } catch (...) {
  }
}

void TStringList::CheckIndex(Integer AIndex) const {
  if (AIndex < 0 || AIndex >= Count()) throw EStringListError(cListIndexError, {AIndex});
}

UnicodeString TStringList::Get(Integer AIndex) const {
  CheckIndex(AIndex);
  return FList[static_cast<std::size_t>(AIndex)].FString;
}

void TStringList::Put(Integer AIndex, const UnicodeString &S) {
  if (FSorted) throw EStringListError(cSortedListError);
  CheckIndex(AIndex);
  Changing();
  FList[static_cast<std::size_t>(AIndex)].FString = S;
  Changed();
}

TObject *TStringList::GetObject(Integer AIndex) const {
  CheckIndex(AIndex);
  return FList[static_cast<std::size_t>(AIndex)].FObject;
}

void TStringList::PutObject(Integer AIndex, TObject *AObject) {
  CheckIndex(AIndex);
  Changing();
  FList[static_cast<std::size_t>(AIndex)].FObject = AObject;
  Changed();
}

void TStringList::Insert(Integer AIndex, const UnicodeString &S) {
  InsertObject(AIndex, S, nullptr);
}

void TStringList::InsertObject(Integer AIndex, const UnicodeString &S, TObject *AObject) {
  if (FSorted) throw EStringListError(cSortedListError);
  if (AIndex < 0 || AIndex > Count()) throw EStringListError(cListIndexError, {AIndex});
  InsertItem(AIndex, S, AObject);
}

void TStringList::InsertItem(Integer AIndex, const UnicodeString &S, TObject *AObject) {
  Changing();
  FList.insert(FList.begin() + AIndex, TStringItem{S, AObject});
  Changed();
}

Integer TStringList::AddObject(const UnicodeString &S, TObject *AObject) {
  Integer r = Count();
  if (FSorted && Find(S, r)) {
    if (FDuplicates == dupIgnore) return r;
    if (FDuplicates == dupError) throw EStringListError(cDuplicateString);
  }
  InsertItem(r, S, AObject);
  return r;
}

void TStringList::Delete(Integer AIndex) {
  CheckIndex(AIndex);
  Changing();
  TObject *obj = FList[static_cast<std::size_t>(AIndex)].FObject;
  FList.erase(FList.begin() + AIndex);
  if (FOwnsObjects && obj) obj->Free();
  Changed();
}

void TStringList::Clear() {
  if (FList.empty()) return;
  Changing();
  std::vector<TObject *> objects;
  if (FOwnsObjects)
    for (const TStringItem &item : FList) objects.push_back(item.FObject);
  FList.clear();
  FList.shrink_to_fit();
  FreeObjects(objects);
  Changed();
}

void TStringList::Assign(TPersistent *ASource) {
  inherited::Assign(ASource);
  if (ASource != this && ASource && ASource->Is<TStringList>()) {
    auto *src = static_cast<TStringList *>(ASource);
    FCaseSensitive = src->FCaseSensitive;
    FSorted = src->FSorted;
  }
}

void TStringList::Exchange(Integer AIndex1, Integer AIndex2) {
  CheckIndex(AIndex1);
  CheckIndex(AIndex2);
  Changing();
  std::swap(FList[static_cast<std::size_t>(AIndex1)], FList[static_cast<std::size_t>(AIndex2)]);
  Changed();
}

void TStringList::Move(Integer ACurIndex, Integer ANewIndex) {
  if (ACurIndex == ANewIndex) return;
  // Checked before anything moves, so that a failure loses no line.
  if (FSorted) throw EStringListError(cSortedListError);
  CheckIndex(ACurIndex);
  CheckIndex(ANewIndex);
  Changing();
  TStringItem item = std::move(FList[static_cast<std::size_t>(ACurIndex)]);
  FList.erase(FList.begin() + ACurIndex);
  FList.insert(FList.begin() + ANewIndex, std::move(item));
  Changed();
}

Integer TStringList::IndexOf(const UnicodeString &S) const {
  if (!FSorted) return inherited::IndexOf(S);
  Integer r;
  return Find(S, r) ? r : -1;
}

bool TStringList::Find(const UnicodeString &S, Integer &AIndex) const {
  bool found = false;
  Integer lo = 0, hi = Count() - 1;
  while (lo <= hi) {
    const Integer mid = lo + (hi - lo) / 2;
    const Integer c = CompareStrings(FList[static_cast<std::size_t>(mid)].FString, S);
    if (c < 0) {
      lo = mid + 1;
    } else {
      hi = mid - 1;
      if (c == 0) {
        found = true;
        if (FDuplicates != dupAccept) lo = mid;
      }
    }
  }
  AIndex = lo;
  return found;
}

void TStringList::Sort() {
  CustomSort([](TStringList *AList, Integer A, Integer B) {
    return AList->CompareStrings(AList->FList[static_cast<std::size_t>(A)].FString,
                                 AList->FList[static_cast<std::size_t>(B)].FString);
  });
}

void TStringList::CustomSort(const TStringListSortCompare &ACompare) {
  if (FSorted || FList.size() < 2) return;
  // The comparison sees the list as it stands while the order is worked out.
  const std::vector<Integer> order =
      StableOrder(Count(), [&](Integer A, Integer B) { return ACompare(this, A, B); });
  Changing();
  std::vector<TStringItem> sorted;
  sorted.reserve(FList.size());
  for (Integer i : order) sorted.push_back(std::move(FList[static_cast<std::size_t>(i)]));
  FList.swap(sorted);
  Changed();
}

void TStringList::SetSorted(bool AValue) {
  if (FSorted == AValue) return;
  if (AValue) Sort();
  FSorted = AValue;
}

void TStringList::SetCaseSensitive(bool AValue) {
  if (FCaseSensitive == AValue) return;
  FCaseSensitive = AValue;
  if (FSorted) {
    FSorted = false;
    SetSorted(true);
  }
}

void TStringList::SetCapacity(Integer ANewCapacity) {
  if (ANewCapacity < Count()) throw EStringListError(cListCapacityError, {ANewCapacity});
  if (ANewCapacity > Capacity())
    FList.reserve(static_cast<std::size_t>(ANewCapacity));
  else
    FList.shrink_to_fit();
}

void TStringList::SetUpdateState(bool AUpdating) {
  if (AUpdating)
    Changing();
  else
    Changed();
}

Integer TStringList::CompareStrings(const UnicodeString &S1, const UnicodeString &S2) const {
  return FCaseSensitive ? OrdinalCompare(S1, S2) : FoldCompare(S1, S2);
}

void TStringList::Changed() {
  if (UpdateCount() == 0 && OnChange) OnChange(this);
}

void TStringList::Changing() {
  if (UpdateCount() == 0 && OnChanging) OnChanging(this);
}

// ---------------------------------------------------------------------------------------------
// TList

TList::~TList() {
  // A descendant that cares about its items clears the list in its own destructor.
  FList.clear();
}

void TList::Error(const char16_t *AFormat, Integer AValue) {
  throw EListError(AFormat, {AValue});
}

void TList::CheckIndex(Integer AIndex) const {
  if (AIndex < 0 || AIndex >= Count()) Error(cListIndexError, AIndex);
}

Integer TList::Add(void *AItem) {
  const Integer r = Count();
  FList.push_back(AItem);
  if (AItem) Notify(AItem, lnAdded);
  return r;
}

void TList::Insert(Integer AIndex, void *AItem) {
  if (AIndex < 0 || AIndex > Count()) Error(cListIndexError, AIndex);
  FList.insert(FList.begin() + AIndex, AItem);
  if (AItem) Notify(AItem, lnAdded);
}

void TList::Delete(Integer AIndex) {
  CheckIndex(AIndex);
  void *item = FList[static_cast<std::size_t>(AIndex)];
  FList.erase(FList.begin() + AIndex);
  if (item) Notify(item, lnDeleted);
}

Integer TList::Remove(void *AItem) {
  const Integer r = IndexOf(AItem);
  if (r >= 0) Delete(r);
  return r;
}

void *TList::Extract(void *AItem) {
  const Integer i = IndexOf(AItem);
  if (i < 0) return nullptr;
  FList.erase(FList.begin() + i);
  if (AItem) Notify(AItem, lnExtracted);
  return AItem;
}

Integer TList::IndexOf(void *AItem) const {
  const auto it = std::find(FList.begin(), FList.end(), AItem);
  return it == FList.end() ? -1 : static_cast<Integer>(it - FList.begin());
}

void TList::Exchange(Integer AIndex1, Integer AIndex2) {
  CheckIndex(AIndex1);
  CheckIndex(AIndex2);
  std::swap(FList[static_cast<std::size_t>(AIndex1)], FList[static_cast<std::size_t>(AIndex2)]);
}

void TList::Move(Integer ACurIndex, Integer ANewIndex) {
  if (ACurIndex == ANewIndex) return;
  CheckIndex(ANewIndex);
  CheckIndex(ACurIndex);
  void *item = FList[static_cast<std::size_t>(ACurIndex)];
  FList.erase(FList.begin() + ACurIndex);
  FList.insert(FList.begin() + ANewIndex, item);
}

void TList::Clear() {
  SetCount(0);
  FList.shrink_to_fit();
}

void TList::Pack() {
  FList.erase(std::remove(FList.begin(), FList.end(), nullptr), FList.end());
}

void TList::Sort(const TListSortCompare &ACompare) {
  if (FList.size() < 2) return;
  const std::vector<Integer> order = StableOrder(Count(), [&](Integer A, Integer B) {
    return ACompare(FList[static_cast<std::size_t>(A)], FList[static_cast<std::size_t>(B)]);
  });
  std::vector<void *> sorted;
  sorted.reserve(FList.size());
  for (Integer i : order) sorted.push_back(FList[static_cast<std::size_t>(i)]);
  FList.swap(sorted);
}

void *TList::First() const {
  return Get(0);
}

void *TList::Last() const {
  return Get(Count() - 1);
}

void TList::SetCount(Integer ANewCount) {
  if (ANewCount < 0) Error(cListCountError, ANewCount);
  if (ANewCount > Count()) {
    FList.resize(static_cast<std::size_t>(ANewCount), nullptr);
  } else {
    // From the end, one by one, so that each item is told about.
    for (Integer i = Count() - 1; i >= ANewCount; --i) Delete(i);
  }
}

void TList::SetCapacity(Integer ANewCapacity) {
  if (ANewCapacity < Count()) Error(cListCapacityError, ANewCapacity);
  if (ANewCapacity > Capacity())
    FList.reserve(static_cast<std::size_t>(ANewCapacity));
  else
    FList.shrink_to_fit();
}

void *TList::Get(Integer AIndex) const {
  CheckIndex(AIndex);
  return FList[static_cast<std::size_t>(AIndex)];
}

void TList::Put(Integer AIndex, void *AItem) {
  CheckIndex(AIndex);
  void *old = FList[static_cast<std::size_t>(AIndex)];
  if (old == AItem) return;
  FList[static_cast<std::size_t>(AIndex)] = AItem;
  if (old) Notify(old, lnDeleted);
  if (AItem) Notify(AItem, lnAdded);
}

void TList::Notify(void *, TListNotification) {}

// ---------------------------------------------------------------------------------------------
// TObjectList

TObjectList::~TObjectList() {
  // The owned objects go here, while Notify still reaches this class.
  try {
    Clear();
  } catch (...) {
  }
}

Integer TObjectList::FindInstanceOf(TClass AClass, bool AExact, Integer AStartAt) const {
  for (Integer i = std::max(AStartAt, 0); i < Count(); ++i) {
    TObject *o = Get(i);
    if (!o) continue;
    if (AExact ? o->ClassType() == AClass : o->InheritsFrom(AClass)) return i;
  }
  return -1;
}

void TObjectList::Notify(void *AItem, TListNotification AAction) {
  if (FOwnsObjects && AAction == lnDeleted) static_cast<TObject *>(AItem)->Free();
  inherited::Notify(AItem, AAction);
}

// ---------------------------------------------------------------------------------------------
// TComponent

TComponent::TComponent(TComponent *AOwner) {
  if (AOwner) AOwner->InsertComponent(this);
}

TComponent::~TComponent() {
  Destroying();
  RemoveFreeNotifications();
  DestroyComponents();
  if (FOwner) {
    // The owner and the other components may refuse nothing here: a destructor cannot fail.
    try {
      FOwner->RemoveComponent(this);
    } catch (...) {
      if (FOwner) {
        auto &list = FOwner->FComponents;
        list.erase(std::remove(list.begin(), list.end(), this), list.end());
        FOwner = nullptr;
      }
    }
  }
}

void TComponent::BeforeDestruction() {
  if (!FComponentState.Contains(csDestroying)) Destroying();
}

void TComponent::Destroying() {
  if (FComponentState.Contains(csDestroying)) return;
  FComponentState << csDestroying;
  for (TComponent *c : FComponents) c->Destroying();
}

void TComponent::SetName(const UnicodeString &ANewName) {
  if (FName == ANewName) return;
  if (!ANewName.empty() && !IsValidIdent(ANewName))
    throw EComponentError(u"'%s' is not a valid component name", {ANewName});
  if (FOwner)
    FOwner->ValidateRename(this, FName, ANewName);
  else
    ValidateRename(nullptr, FName, ANewName);
  FName = ANewName;
}

void TComponent::ValidateRename(TComponent *AComponent, const UnicodeString &ACurName,
                                const UnicodeString &ANewName) {
  if (AComponent && !SameText(ACurName, ANewName) && FindComponent(ANewName))
    throw EComponentError(u"A component named %s already exists", {ANewName});
}

void TComponent::ValidateInsert(TComponent *) {}

void TComponent::ValidateContainer(TComponent *AComponent) {
  AComponent->ValidateInsert(this);
}

TComponent *TComponent::Components(Integer AIndex) const {
  if (AIndex < 0 || AIndex >= ComponentCount()) throw EListError(cListIndexError, {AIndex});
  return FComponents[static_cast<std::size_t>(AIndex)];
}

Integer TComponent::ComponentIndex() const noexcept {
  if (!FOwner) return -1;
  const auto &list = FOwner->FComponents;
  const auto it = std::find(list.begin(), list.end(), this);
  return it == list.end() ? -1 : static_cast<Integer>(it - list.begin());
}

void TComponent::SetComponentIndex(Integer AValue) {
  const Integer i = ComponentIndex();
  if (i < 0) return;
  auto &list = FOwner->FComponents;
  AValue = std::clamp(AValue, 0, static_cast<Integer>(list.size()) - 1);
  if (AValue == i) return;
  list.erase(list.begin() + i);
  list.insert(list.begin() + AValue, this);
}

TComponent *TComponent::FindComponent(const UnicodeString &AName) const {
  if (AName.empty()) return nullptr;
  for (TComponent *c : FComponents)
    if (SameText(c->FName, AName)) return c;
  return nullptr;
}

void TComponent::InsertComponent(TComponent *AComponent) {
  AComponent->ValidateContainer(this);
  // The name must be free among the new siblings before the component leaves its old owner.
  TComponent *same = FindComponent(AComponent->FName);
  if (same && same != AComponent)
    throw EComponentError(u"A component named %s already exists", {AComponent->FName});
  if (AComponent->FOwner) AComponent->FOwner->RemoveComponent(AComponent);
  FComponents.push_back(AComponent);
  AComponent->FOwner = this;
  if (FComponentState.Contains(csDesigning)) AComponent->SetDesigning(true);
  Notification(AComponent, opInsert);
}

void TComponent::RemoveComponent(TComponent *AComponent) {
  if (AComponent->FOwner != this) return;
  Notification(AComponent, opRemove);
  FComponents.erase(std::remove(FComponents.begin(), FComponents.end(), AComponent),
                    FComponents.end());
  AComponent->FOwner = nullptr;
}

void TComponent::DestroyComponents() {
  while (!FComponents.empty()) {
    TComponent *c = FComponents.back();
    // A component that others watch leaves with a notice; the rest leave quietly.
    if (c->FComponentState.Contains(csFreeNotification)) {
      try {
        Notification(c, opRemove);
      } catch (...) {
      }
    }
    FComponents.erase(std::remove(FComponents.begin(), FComponents.end(), c), FComponents.end());
    c->FOwner = nullptr;
    try {
      c->Free();
    } catch (...) {
      // It refused to go (it is still referenced); it lives on without an owner.
    }
  }
}

void TComponent::Notification(TComponent *AComponent, TOperation AOperation) {
  if (AOperation == opRemove && AComponent) RemoveFreeNotification(AComponent);
  // From the last to the first; the list may shrink while the notice goes round.
  Integer i = ComponentCount() - 1;
  while (i >= 0) {
    FComponents[static_cast<std::size_t>(i)]->Notification(AComponent, AOperation);
    --i;
    if (i >= ComponentCount()) i = ComponentCount() - 1;
  }
}

void TComponent::FreeNotification(TComponent *AComponent) {
  if (!AComponent || AComponent == this) return;
  if (!FOwner || AComponent->FOwner != FOwner) {
    if (std::find(FFreeNotifies.begin(), FFreeNotifies.end(), AComponent) == FFreeNotifies.end()) {
      FFreeNotifies.push_back(AComponent);
      AComponent->FreeNotification(this);
    }
  }
  FComponentState << csFreeNotification;
}

void TComponent::RemoveFreeNotification(TComponent *AComponent) {
  RemoveNotification(AComponent);
  AComponent->RemoveNotification(this);
}

void TComponent::RemoveNotification(TComponent *AComponent) {
  FFreeNotifies.erase(std::remove(FFreeNotifies.begin(), FFreeNotifies.end(), AComponent),
                      FFreeNotifies.end());
}

void TComponent::RemoveFreeNotifications() {
  Integer i = static_cast<Integer>(FFreeNotifies.size()) - 1;
  while (i >= 0) {
    TComponent *c = FFreeNotifies[static_cast<std::size_t>(i)];
    try {
      c->Notification(this, opRemove);
    } catch (...) {
    }
    // A subscriber that did not drop itself is dropped here, so that the loop ends.
    RemoveFreeNotification(c);
    i = std::min(i - 1, static_cast<Integer>(FFreeNotifies.size()) - 1);
  }
  FFreeNotifies.clear();
}

void TComponent::Loaded() {
  FComponentState >> csLoading;
}

void TComponent::SetDesigning(bool AValue, bool ASetChildren) {
  if (AValue)
    FComponentState << csDesigning;
  else
    FComponentState >> csDesigning;
  if (ASetChildren)
    for (TComponent *c : FComponents) c->SetDesigning(AValue);
}

UnicodeString TComponent::GetNamePath() {
  return FName;
}

TPersistent *TComponent::GetOwner() {
  return FOwner;
}

bool TComponent::GetInterface(const TGUID &AIID, void **AObj) {
  if (AIID == IInterface::IID) {
    IInterface *p = this;
    p->_AddRef();
    *AObj = p;
    return true;
  }
  return inherited::GetInterface(AIID, AObj);
}

HRESULT TComponent::QueryInterface(const TGUID &AIID, void **AObj) {
  return GetInterface(AIID, AObj) ? S_OK : E_NOINTERFACE;
}

Integer TComponent::_AddRef() {
  return -1;
}

Integer TComponent::_Release() {
  return -1;
}

// ---------------------------------------------------------------------------------------------
// TStreamAdapter

TStreamAdapter::~TStreamAdapter() {
  if (FOwnership == soOwned) Free(FStream);
}

HRESULT TStreamAdapter::Read(void *ABuffer, LongWord ACount, LongWord *ARead) {
  if (ARead) *ARead = 0;
  if (!ABuffer && ACount) return STG_E_INVALIDPOINTER;
  try {
    const Int64 n = FStream->Read(ABuffer, ACount);
    if (ARead) *ARead = static_cast<LongWord>(n);
    return n < ACount ? S_FALSE : S_OK;
  } catch (...) {
    return STG_E_READFAULT;
  }
}

HRESULT TStreamAdapter::Write(const void *ABuffer, LongWord ACount, LongWord *AWritten) {
  if (AWritten) *AWritten = 0;
  if (!ABuffer && ACount) return STG_E_INVALIDPOINTER;
  try {
    const Int64 n = FStream->Write(ABuffer, ACount);
    if (AWritten) *AWritten = static_cast<LongWord>(n);
    return n < ACount ? STG_E_WRITEFAULT : S_OK;
  } catch (...) {
    return STG_E_WRITEFAULT;
  }
}

HRESULT TStreamAdapter::Seek(Int64 AMove, LongWord AOrigin, UInt64 *ANewPosition) {
  if (AOrigin > STREAM_SEEK_END) return STG_E_INVALIDFUNCTION;
  try {
    const Int64 pos = FStream->Seek(AMove, static_cast<TSeekOrigin>(AOrigin));
    if (ANewPosition) *ANewPosition = static_cast<UInt64>(pos);
    return S_OK;
  } catch (...) {
    return STG_E_INVALIDFUNCTION;
  }
}

HRESULT TStreamAdapter::SetSize(UInt64 ANewSize) {
  try {
    FStream->SetSize(static_cast<Int64>(ANewSize));
    return S_OK;
  } catch (...) {
    return E_FAIL;
  }
}

HRESULT TStreamAdapter::Stat(TStatStg &AStatStg, LongWord) {
  try {
    AStatStg.cbSize = static_cast<UInt64>(FStream->GetSize());
    return S_OK;
  } catch (...) {
    return E_FAIL;
  }
}

}  // namespace vn
