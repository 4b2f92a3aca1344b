// Persistent objects, string lists, pointer and object lists, and components.
#pragma once

#include <functional>
#include <initializer_list>
#include <iterator>
#include <vector>

#include "vnxml/rtl/Interface.h"
#include "vnxml/rtl/Object.h"
#include "vnxml/rtl/Sets.h"
#include "vnxml/rtl/Streams.h"
#include "vnxml/rtl/SysUtils.h"
#include "vnxml/rtl/Types.h"

namespace vn {

class TStream;
class TComponent;

using TNotifyEvent = std::function<void(TObject *ASender)>;

// The base of readers and writers of component data.
class TFiler : public TObject {
  VN_CLASS(TFiler, TObject)
 protected:
  TFiler() = default;
};

// ---------------------------------------------------------------------------------------------
// An object that can copy itself from another object.
class TPersistent : public TObject {
  VN_CLASS(TPersistent, TObject)
 public:
  TPersistent() = default;
  TPersistent(const TPersistent &) = delete;
  TPersistent &operator=(const TPersistent &) = delete;

  // Copies ASource into this object by asking ASource to assign itself to it. A source that
  // cannot do so, or null, raises EConvertError "Cannot assign a <source> to a <dest>".
  virtual void Assign(TPersistent *ASource);
  // The class name, behind the name path of the owner if the owner has one.
  virtual UnicodeString GetNamePath();
  // Declares data that streaming writes beside the published properties; nothing here.
  virtual void DefineProperties(TFiler *AFiler);

 protected:
  // Copies this object into ADest; raises the assignment error.
  virtual void AssignTo(TPersistent *ADest);
  virtual TPersistent *GetOwner();
  // Raises EConvertError "Cannot assign a <source class or nil> to a <this class>".
  [[noreturn]] void AssignError(TPersistent *ASource);
};

// ---------------------------------------------------------------------------------------------
// String lists.

enum TDuplicates : Byte { dupIgnore, dupAccept, dupError };

class TStrings;

// Walks the lines of a list by index; each step reads the line anew.
class TStringsIterator {
 public:
  using iterator_category = std::forward_iterator_tag;
  using value_type = UnicodeString;
  using difference_type = std::ptrdiff_t;
  using pointer = void;
  using reference = UnicodeString;

  TStringsIterator() noexcept = default;
  TStringsIterator(const TStrings *AList, Integer AIndex) noexcept : FList(AList), FIndex(AIndex) {}
  UnicodeString operator*() const;
  TStringsIterator &operator++() noexcept {
    ++FIndex;
    return *this;
  }
  TStringsIterator operator++(int) noexcept {
    TStringsIterator r = *this;
    ++FIndex;
    return r;
  }
  bool operator==(const TStringsIterator &AOther) const noexcept { return FIndex == AOther.FIndex; }

 private:
  const TStrings *FList = nullptr;
  Integer FIndex = 0;
};

// A list of strings, each with an object beside it, and `name=value` access to its lines.
// The storage is left to descendants.
class TStrings : public TPersistent {
  VN_CLASS(TStrings, TPersistent)
 public:
  TStrings() = default;

  // --- storage, supplied by descendants
  virtual Integer Count() const = 0;
  virtual UnicodeString Get(Integer AIndex) const = 0;
  // Replaces a line and keeps its object.
  virtual void Put(Integer AIndex, const UnicodeString &S);
  // The object of a line; this class keeps none and answers null.
  virtual TObject *GetObject(Integer AIndex) const;
  virtual void PutObject(Integer AIndex, TObject *AObject);
  virtual void Insert(Integer AIndex, const UnicodeString &S) = 0;
  virtual void InsertObject(Integer AIndex, const UnicodeString &S, TObject *AObject);
  virtual void Delete(Integer AIndex) = 0;
  virtual void Clear() = 0;

  UnicodeString Strings(Integer AIndex) const { return Get(AIndex); }
  UnicodeString operator[](Integer AIndex) const { return Get(AIndex); }
  TObject *Objects(Integer AIndex) const { return GetObject(AIndex); }

  // Appends a line (a sorted list puts it in its place) and returns its index.
  virtual Integer Add(const UnicodeString &S);
  virtual Integer AddObject(const UnicodeString &S, TObject *AObject);
  void Append(const UnicodeString &S) { Add(S); }
  // Adds "<name><separator><value>" and returns the list, so that calls can be chained.
  TStrings &AddPair(const UnicodeString &AName, const UnicodeString &AValue);
  TStrings &AddPair(const UnicodeString &AName, const UnicodeString &AValue, TObject *AObject);
  // Adds the lines and objects of another list.
  virtual void AddStrings(TStrings *AStrings);
  void AddStrings(std::initializer_list<UnicodeString> AStrings);
  void AddStrings(const std::vector<UnicodeString> &AStrings);
  // From another TStrings: its lines, objects and text settings.
  void Assign(TPersistent *ASource) override;

  virtual void Exchange(Integer AIndex1, Integer AIndex2);
  // Moves a line with its object to another place.
  virtual void Move(Integer ACurIndex, Integer ANewIndex);

  // Index of the first line equal to S by the list's comparison, or -1.
  virtual Integer IndexOf(const UnicodeString &S) const;
  // Index of the first line whose name equals AName by the list's comparison, or -1.
  virtual Integer IndexOfName(const UnicodeString &AName) const;
  virtual Integer IndexOfObject(TObject *AObject) const;
  // Same count and the same lines, compared code unit by code unit.
  bool Equals(TStrings *AStrings) const;

  // The part of a line before the first name-value separator ("" without a separator).
  UnicodeString Names(Integer AIndex) const;
  // The part of a line after the first separator ("" without a separator or for AIndex < 0).
  UnicodeString ValueFromIndex(Integer AIndex) const;
  // Replaces the value of a line; "" deletes the line, AIndex < 0 appends a line.
  void SetValueFromIndex(Integer AIndex, const UnicodeString &AValue);
  // The value of the first line named AName, or "".
  UnicodeString Values(const UnicodeString &AName) const;
  // Sets the value of the first line named AName; "" deletes that line, an absent name
  // appends "<name><separator><value>".
  void SetValue(const UnicodeString &AName, const UnicodeString &AValue);

  // Every line followed by LineBreak (the last one too, unless TrailingLineBreak is off).
  virtual UnicodeString Text() const;
  // Replaces the lines. With the standard line break the text is split at CR LF, LF and CR;
  // with another one at that string. A break at the end does not start another line.
  virtual void SetText(const UnicodeString &AText);
  // DelimitedText with ',' as delimiter, '"' as quote and blanks as delimiters too.
  UnicodeString CommaText() const;
  void SetCommaText(const UnicodeString &AText);
  // The lines separated by Delimiter. A line that holds a blank or control character (unless
  // StrictDelimiter), the delimiter or the quote character is quoted, with the quote character
  // doubled inside. A list of one empty line is two quote characters.
  UnicodeString DelimitedText() const;
  // Replaces the lines by the items of a delimited text. Quoted items lose their quotes and
  // the doubling of the quote character; without StrictDelimiter blanks and control
  // characters separate items too and are dropped around them.
  void SetDelimitedText(const UnicodeString &AText);

  char16_t Delimiter() const noexcept { return FDelimiter; }
  void SetDelimiter(char16_t AValue) noexcept { FDelimiter = AValue; }
  char16_t QuoteChar() const noexcept { return FQuoteChar; }
  void SetQuoteChar(char16_t AValue) noexcept { FQuoteChar = AValue; }
  bool StrictDelimiter() const noexcept { return FStrictDelimiter; }
  void SetStrictDelimiter(bool AValue) noexcept { FStrictDelimiter = AValue; }
  char16_t NameValueSeparator() const noexcept { return FNameValueSeparator; }
  void SetNameValueSeparator(char16_t AValue) noexcept { FNameValueSeparator = AValue; }
  const UnicodeString &LineBreak() const noexcept { return FLineBreak; }
  void SetLineBreak(const UnicodeString &AValue) { FLineBreak = AValue; }
  bool TrailingLineBreak() const noexcept { return FTrailingLineBreak; }
  void SetTrailingLineBreak(bool AValue) noexcept { FTrailingLineBreak = AValue; }

  // Nested calls are counted; the list sees the first BeginUpdate and the last EndUpdate.
  void BeginUpdate();
  void EndUpdate();
  Integer UpdateCount() const noexcept { return FUpdateCount; }

  // Reads from the current position to the end: UTF-8, or the encoding of a byte-order mark
  // (UTF-8, UTF-16 LE or BE) at the start, which is dropped.
  virtual void LoadFromStream(TStream *AStream);
  // Writes Text as UTF-8 without a byte-order mark.
  virtual void SaveToStream(TStream *AStream);
  void LoadFromFile(const UnicodeString &AFileName);
  void SaveToFile(const UnicodeString &AFileName);

  std::vector<UnicodeString> ToStringArray() const;

  TStringsIterator begin() const noexcept { return TStringsIterator(this, 0); }
  TStringsIterator end() const { return TStringsIterator(this, Count()); }

 protected:
  // Called with true by the first BeginUpdate and with false by the last EndUpdate.
  virtual void SetUpdateState(bool AUpdating);
  // < 0, 0 or > 0. Here without regard to case (Unicode case folding).
  virtual Integer CompareStrings(const UnicodeString &S1, const UnicodeString &S2) const;

 private:
  UnicodeString DelimitedTextWith(char16_t ADelimiter, char16_t AQuote, bool AStrict) const;
  void SetDelimitedTextWith(const UnicodeString &AText, char16_t ADelimiter, char16_t AQuote,
                            bool AStrict);

  UnicodeString FLineBreak = u"\r\n";
  Integer FUpdateCount = 0;
  char16_t FDelimiter = u',';
  char16_t FQuoteChar = u'"';
  char16_t FNameValueSeparator = u'=';
  bool FStrictDelimiter = false;
  bool FTrailingLineBreak = true;
};

class TStringList;
// < 0, 0 or > 0 for the lines at two indexes.
using TStringListSortCompare =
    std::function<Integer(TStringList *AList, Integer AIndex1, Integer AIndex2)>;

// A string list in memory. Errors raise EStringListError: "List index out of bounds (%d)",
// "Operation not allowed on sorted list", "String list does not allow duplicates".
class TStringList : public TStrings {
  VN_CLASS(TStringList, TStrings)
 public:
  TStringList() = default;
  // With AOwnsObjects the list frees the objects of lines it deletes, clears or outlives.
  explicit TStringList(bool AOwnsObjects) : FOwnsObjects(AOwnsObjects) {}
  TStringList(TDuplicates ADuplicates, bool ASorted, bool ACaseSensitive);
  // Not an owner constructor: keeps a component pointer from turning into the flag.
  TStringList(TComponent *) = delete;
  ~TStringList() override;

  Integer Count() const override { return static_cast<Integer>(FList.size()); }
  UnicodeString Get(Integer AIndex) const override;
  // Raises the sorted-list error on a sorted list.
  void Put(Integer AIndex, const UnicodeString &S) override;
  TObject *GetObject(Integer AIndex) const override;
  // Replaces the object of a line; the old one is not freed.
  void PutObject(Integer AIndex, TObject *AObject) override;
  // Raise the sorted-list error on a sorted list.
  void Insert(Integer AIndex, const UnicodeString &S) override;
  void InsertObject(Integer AIndex, const UnicodeString &S, TObject *AObject) override;
  void Delete(Integer AIndex) override;
  void Clear() override;
  // On a sorted list: into its place, and Duplicates decides about an equal line (dupIgnore
  // returns the index of that line and stores nothing). An unsorted list takes duplicates.
  Integer AddObject(const UnicodeString &S, TObject *AObject) override;
  void Assign(TPersistent *ASource) override;
  void Exchange(Integer AIndex1, Integer AIndex2) override;
  void Move(Integer ACurIndex, Integer ANewIndex) override;
  Integer IndexOf(const UnicodeString &S) const override;

  // Binary search of a sorted list: true if S is there, with AIndex at it (the first of equal
  // lines unless Duplicates is dupAccept); otherwise false, with AIndex where S would go.
  virtual bool Find(const UnicodeString &S, Integer &AIndex) const;
  // Sorts an unsorted list by the list's comparison; a sorted list stays as it is.
  virtual void Sort();
  // Sorts an unsorted list with ACompare. The sort is stable.
  virtual void CustomSort(const TStringListSortCompare &ACompare);

  bool Sorted() const noexcept { return FSorted; }
  // Turning it on sorts the list.
  void SetSorted(bool AValue);
  TDuplicates Duplicates() const noexcept { return FDuplicates; }
  void SetDuplicates(TDuplicates AValue) noexcept { FDuplicates = AValue; }
  // Off: lines compare by Unicode case folding. On: code unit by code unit. Changing it
  // sorts a sorted list again.
  bool CaseSensitive() const noexcept { return FCaseSensitive; }
  void SetCaseSensitive(bool AValue);
  bool OwnsObjects() const noexcept { return FOwnsObjects; }
  void SetOwnsObjects(bool AValue) noexcept { FOwnsObjects = AValue; }
  Integer Capacity() const noexcept { return static_cast<Integer>(FList.capacity()); }
  void SetCapacity(Integer ANewCapacity);

  // Called around every change while no update is open.
  TNotifyEvent OnChange;
  TNotifyEvent OnChanging;

 protected:
  void SetUpdateState(bool AUpdating) override;
  Integer CompareStrings(const UnicodeString &S1, const UnicodeString &S2) const override;
  virtual void Changed();
  virtual void Changing();
  void InsertItem(Integer AIndex, const UnicodeString &S, TObject *AObject);

 private:
  struct TStringItem {
    UnicodeString FString;
    TObject *FObject = nullptr;
  };
  void CheckIndex(Integer AIndex) const;

  std::vector<TStringItem> FList;
  TDuplicates FDuplicates = dupIgnore;
  bool FSorted = false;
  bool FCaseSensitive = false;
  bool FOwnsObjects = false;
};

// ---------------------------------------------------------------------------------------------
// Lists of pointers and of objects. Index errors raise EListError
// "List index out of bounds (%d)".

enum TListNotification : Byte { lnAdded, lnExtracted, lnDeleted };
// < 0, 0 or > 0 for two items.
using TListSortCompare = std::function<Integer(void *AItem1, void *AItem2)>;

// A list of untyped pointers, which it never owns; the base of TObjectList.
class TList : public TObject {
  VN_CLASS(TList, TObject)
 public:
  using const_iterator = std::vector<void *>::const_iterator;

  TList() = default;
  TList(const TList &) = delete;
  TList &operator=(const TList &) = delete;
  ~TList() override;

  Integer Add(void *AItem);
  void Insert(Integer AIndex, void *AItem);
  void Delete(Integer AIndex);
  // Deletes the first occurrence and returns its index, or -1.
  Integer Remove(void *AItem);
  // Takes the first occurrence out without deleting it (an object list does not free it);
  // returns the item, or null when it is not in the list.
  void *Extract(void *AItem);
  Integer IndexOf(void *AItem) const;
  void Exchange(Integer AIndex1, Integer AIndex2);
  void Move(Integer ACurIndex, Integer ANewIndex);
  virtual void Clear();
  // Deletes the null items.
  void Pack();
  // A stable sort by ACompare.
  void Sort(const TListSortCompare &ACompare);
  void *First() const;
  void *Last() const;

  Integer Count() const noexcept { return static_cast<Integer>(FList.size()); }
  // Growing adds null items; shrinking deletes items from the end.
  void SetCount(Integer ANewCount);
  Integer Capacity() const noexcept { return static_cast<Integer>(FList.capacity()); }
  // Raises EListError "List capacity out of bounds (%d)" below Count.
  void SetCapacity(Integer ANewCapacity);
  void *Get(Integer AIndex) const;
  // Replaces an item; the old one counts as deleted.
  void Put(Integer AIndex, void *AItem);
  void *Items(Integer AIndex) const { return Get(AIndex); }
  void *operator[](Integer AIndex) const { return Get(AIndex); }

  const_iterator begin() const noexcept { return FList.begin(); }
  const_iterator end() const noexcept { return FList.end(); }

 protected:
  // Told about every non-null item that enters or leaves the list.
  virtual void Notify(void *AItem, TListNotification AAction);
  [[noreturn]] static void Error(const char16_t *AFormat, Integer AValue);
  void CheckIndex(Integer AIndex) const;

 private:
  std::vector<void *> FList;
};

// A list of objects that frees the objects it deletes while it owns them.
class TObjectList : public TList {
  VN_CLASS(TObjectList, TList)
 public:
  class const_iterator {
   public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = TObject *;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = TObject *;

    const_iterator() = default;
    explicit const_iterator(TList::const_iterator AIt) : FIt(AIt) {}
    TObject *operator*() const { return static_cast<TObject *>(*FIt); }
    const_iterator &operator++() {
      ++FIt;
      return *this;
    }
    const_iterator operator++(int) { return const_iterator(FIt++); }
    bool operator==(const const_iterator &AOther) const { return FIt == AOther.FIt; }

   private:
    TList::const_iterator FIt;
  };

  TObjectList() = default;
  explicit TObjectList(bool AOwnsObjects) : FOwnsObjects(AOwnsObjects) {}
  // Not an owner constructor: keeps a component pointer from turning into the flag.
  TObjectList(TComponent *) = delete;
  ~TObjectList() override;

  Integer Add(TObject *AObject) { return TList::Add(AObject); }
  void Insert(Integer AIndex, TObject *AObject) { TList::Insert(AIndex, AObject); }
  Integer Remove(TObject *AObject) { return TList::Remove(AObject); }
  TObject *Extract(TObject *AObject) { return static_cast<TObject *>(TList::Extract(AObject)); }
  Integer IndexOf(TObject *AObject) const { return TList::IndexOf(AObject); }
  TObject *First() const { return static_cast<TObject *>(TList::First()); }
  TObject *Last() const { return static_cast<TObject *>(TList::Last()); }
  TObject *Get(Integer AIndex) const { return static_cast<TObject *>(TList::Get(AIndex)); }
  void Put(Integer AIndex, TObject *AObject) { TList::Put(AIndex, AObject); }
  TObject *Items(Integer AIndex) const { return Get(AIndex); }
  TObject *operator[](Integer AIndex) const { return Get(AIndex); }
  // Index of the first object of class AClass (or of a descendant, unless AExact) at or after
  // AStartAt, or -1.
  Integer FindInstanceOf(TClass AClass, bool AExact = true, Integer AStartAt = 0) const;

  bool OwnsObjects() const noexcept { return FOwnsObjects; }
  void SetOwnsObjects(bool AValue) noexcept { FOwnsObjects = AValue; }

  const_iterator begin() const noexcept { return const_iterator(TList::begin()); }
  const_iterator end() const noexcept { return const_iterator(TList::end()); }

 protected:
  void Notify(void *AItem, TListNotification AAction) override;

 private:
  bool FOwnsObjects = true;
};

// ---------------------------------------------------------------------------------------------
// Components.

enum TOperation : Byte { opInsert, opRemove };
enum TComponentStateItem : Byte {
  csLoading,
  csReading,
  csWriting,
  csDestroying,
  csDesigning,
  csAncestor,
  csUpdating,
  csFixups,
  csFreeNotification,
  csInline,
  csDesignInstance
};
using TComponentState = Set<TComponentStateItem, csLoading, csDesignInstance>;

// An object with a name, an owner and the components it owns. The owner frees what it owns
// when it is destroyed. Errors raise EComponentError: "'%s' is not a valid component name",
// "A component named %s already exists".
//
// TComponent answers IInterface without counting references: _AddRef and _Release return -1
// and never destroy the object. Descendants may count by overriding them.
class TComponent : public TPersistent, public IInterface {
  VN_CLASS(TComponent, TPersistent)
 public:
  explicit TComponent(TComponent *AOwner);
  // Tells the subscribers of free notifications, frees the owned components (the last one
  // first) and leaves the owner.
  ~TComponent() override;
  // Marks the component and those it owns as being destroyed.
  void BeforeDestruction() override;

  TComponent *Owner() const noexcept { return FOwner; }
  const UnicodeString &Name() const noexcept { return FName; }
  // An identifier or "", unique among the owner's components without regard to case.
  virtual void SetName(const UnicodeString &ANewName);
  NativeInt Tag() const noexcept { return FTag; }
  void SetTag(NativeInt AValue) noexcept { FTag = AValue; }

  Integer ComponentCount() const noexcept { return static_cast<Integer>(FComponents.size()); }
  // Raises EListError "List index out of bounds (%d)" for a bad index.
  TComponent *Components(Integer AIndex) const;
  // The place of this component among its owner's components, or -1 without an owner.
  Integer ComponentIndex() const noexcept;
  void SetComponentIndex(Integer AValue);
  // The owned component of that name, without regard to case; null for "" or none.
  TComponent *FindComponent(const UnicodeString &AName) const;
  // Takes AComponent over from its current owner, if any, and tells the owned components.
  void InsertComponent(TComponent *AComponent);
  // Tells the owned components, then lets AComponent go without freeing it.
  void RemoveComponent(TComponent *AComponent);
  // Frees every owned component, the last one first.
  void DestroyComponents();

  // Asks to be told (Notification with opRemove) when AComponent is destroyed, and the other
  // way round. Between components of the same owner the owner's notice does that already.
  void FreeNotification(TComponent *AComponent);
  void RemoveFreeNotification(TComponent *AComponent);

  TComponentState ComponentState() const noexcept { return FComponentState; }
  // For the readers and writers of component data.
  void SetComponentState(TComponentState AState) noexcept { FComponentState = AState; }
  // Adds csDestroying to this component and those it owns.
  void Destroying();

  UnicodeString GetNamePath() override;
  bool GetInterface(const TGUID &AIID, void **AObj) override;
  HRESULT QueryInterface(const TGUID &AIID, void **AObj) override;
  Integer _AddRef() override;
  Integer _Release() override;

 protected:
  TPersistent *GetOwner() override;
  // Tells this component and, recursively, those it owns that AComponent arrives or goes.
  // A component that goes is also dropped from the free-notification lists.
  virtual void Notification(TComponent *AComponent, TOperation AOperation);
  // Raises the duplicate-name error when AComponent, owned here, would take a name that
  // another owned component has.
  virtual void ValidateRename(TComponent *AComponent, const UnicodeString &ACurName,
                              const UnicodeString &ANewName);
  // Raises when AComponent must not be inserted here; here nothing.
  virtual void ValidateInsert(TComponent *AComponent);
  virtual void ValidateContainer(TComponent *AComponent);
  // Called when loading has finished; clears csLoading.
  virtual void Loaded();
  void SetDesigning(bool AValue, bool ASetChildren = true);

 private:
  void RemoveNotification(TComponent *AComponent);
  void RemoveFreeNotifications();

  TComponent *FOwner = nullptr;
  UnicodeString FName;
  NativeInt FTag = 0;
  std::vector<TComponent *> FComponents;
  std::vector<TComponent *> FFreeNotifies;
  TComponentState FComponentState;
};

// ---------------------------------------------------------------------------------------------
// Streams behind an interface: the operations of the COM byte-stream interface that code of
// this library and its users need (reading, writing, moving and the size), and the adapter that
// serves them from a TStream. Results: S_OK, S_FALSE for a short read, STG_E_... failures.

constexpr HRESULT STG_E_INVALIDFUNCTION = static_cast<HRESULT>(0x80030001u);
constexpr HRESULT STG_E_INVALIDPOINTER = static_cast<HRESULT>(0x80030009u);
constexpr HRESULT STG_E_READFAULT = static_cast<HRESULT>(0x8003001Eu);
constexpr HRESULT STG_E_WRITEFAULT = static_cast<HRESULT>(0x8003001Du);
constexpr LongWord STREAM_SEEK_SET = 0;
constexpr LongWord STREAM_SEEK_CUR = 1;
constexpr LongWord STREAM_SEEK_END = 2;

// What Stat reports: the size in bytes.
struct TStatStg {
  UInt64 cbSize = 0;
};

// The structured-storage stream: reads, writes and seeks of bytes; TStreamAdapter serves it.
class IStream : public IInterface {
  VN_INTERFACE(IStream, IInterface, "{0000000C-0000-0000-C000-000000000046}")
 public:
  // Up to ACount bytes; the count read goes to ARead when it is not null.
  virtual HRESULT Read(void *ABuffer, LongWord ACount, LongWord *ARead) = 0;
  virtual HRESULT Write(const void *ABuffer, LongWord ACount, LongWord *AWritten) = 0;
  // AOrigin is one of STREAM_SEEK_SET, _CUR, _END; the new position goes to ANewPosition when
  // it is not null.
  virtual HRESULT Seek(Int64 AMove, LongWord AOrigin, UInt64 *ANewPosition) = 0;
  virtual HRESULT SetSize(UInt64 ANewSize) = 0;
  virtual HRESULT Stat(TStatStg &AStatStg, LongWord AStatFlag) = 0;
};

enum TStreamOwnership : Byte { soReference, soOwned };

// Serves IStream from a TStream, which it frees with itself when it owns it. Exceptions of the
// stream become failure results.
class TStreamAdapter : public TInterfacedObject, public IStream {
  VN_CLASS(TStreamAdapter, TInterfacedObject)
  VN_IMPLEMENTS(TInterfacedObject, IStream)
 public:
  explicit TStreamAdapter(TStream *AStream, TStreamOwnership AOwnership = soReference) noexcept
      : FStream(AStream), FOwnership(AOwnership) {}
  ~TStreamAdapter() override;
  TStream *Stream() const noexcept { return FStream; }

  HRESULT Read(void *ABuffer, LongWord ACount, LongWord *ARead) override;
  HRESULT Write(const void *ABuffer, LongWord ACount, LongWord *AWritten) override;
  HRESULT Seek(Int64 AMove, LongWord AOrigin, UInt64 *ANewPosition) override;
  HRESULT SetSize(UInt64 ANewSize) override;
  HRESULT Stat(TStatStg &AStatStg, LongWord AStatFlag) override;

 private:
  TStream *FStream;
  TStreamOwnership FOwnership;
};

}  // namespace vn
