// Where the nodes of the trees live in memory.
//
// A load makes its nodes one after the other and a tree is mostly freed as a whole, so the
// nodes made while a load runs on a thread are cut in sequence from pages that the load takes
// from the heap: making one is moving a pointer, freeing one is counting it off its page, and
// the nodes of a tree sit side by side in the order a walk visits them. A page goes back to the
// heap once its load has moved on from it and its last node is gone, whichever thread frees it.
// Nodes made at any other time come from the heap one by one.
//
// Every node carries one word in front of it: its page, or null for a node of its own on the
// heap. The word is what lets operator delete tell the two apart.
#include <atomic>
#include <cstdint>
#include <new>

#include "vnxml/common/uVnClasses.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
// Freed nodes and the unused end of a page are poisoned, so that the address sanitizer still
// reports a node used after it was freed.
#define VN_POISON(p, n) ASAN_POISON_MEMORY_REGION(p, n)
#define VN_UNPOISON(p, n) ASAN_UNPOISON_MEMORY_REGION(p, n)
#else
#define VN_POISON(p, n) ((void)(p), (void)(n))
#define VN_UNPOISON(p, n) ((void)(p), (void)(n))
#endif

namespace vn {

struct alignas(__STDCPP_DEFAULT_NEW_ALIGNMENT__) TVnNodePages::TPage {
  // Nodes alive on the page, plus cBias while its load may still cut nodes from it. Nodes are
  // counted onto the page in one step when the load leaves it, and off it one by one as they
  // are freed; the bias keeps the count above zero in between.
  std::atomic<std::int64_t> Live;
  std::size_t Size;
};

namespace {

// What plain operator new must give: classes aligned beyond it take the aligned operator new,
// which nodes leave to the heap.
constexpr std::size_t cAlign = __STDCPP_DEFAULT_NEW_ALIGNMENT__;
constexpr std::size_t cWord = sizeof(void *);
// Pages double from the first size up to the last.
constexpr std::size_t cLastPage = 64 * 1024;
constexpr std::int64_t cBias = std::int64_t{1} << 48;

static_assert(sizeof(TVnNodePages::TPage) <= cAlign);

// The word in front of a node.
TVnNodePages::TPage *&PageOf(void *AObject) noexcept {
  return *reinterpret_cast<TVnNodePages::TPage **>(static_cast<Byte *>(AObject) - cWord);
}

// Empty pages of the largest size that a thread keeps for its next load. Giving a block that
// large back to the heap makes glibc consolidate every small block freed since (the child
// arrays and texts of the tree just freed), only for the next load to take a page from the heap
// again. The list is plain data, so that it stays usable while other objects of a thread that
// ends are destroyed; the closer frees the pages and turns keeping off from then on.
constexpr std::size_t cKeptPages = 8;
struct TKeptPages {
  void *Pages[cKeptPages];
  std::size_t Count;
  bool Closed;
};
thread_local TKeptPages tKept{};

struct TKeptPagesCloser {
  ~TKeptPagesCloser() {
    tKept.Closed = true;
    while (tKept.Count > 0) {
      void *page = tKept.Pages[--tKept.Count];
      VN_UNPOISON(page, cLastPage);
      ::operator delete(page);
    }
  }
};

// Whether the thread may keep a page; the first call arranges for the kept pages to go when the
// thread ends.
bool KeepingPages() noexcept {
  static thread_local TKeptPagesCloser closer;
  (void)closer;
  return !tKept.Closed;
}

void FreePage(TVnNodePages::TPage *APage) noexcept {
  const std::size_t size = APage->Size;
  VN_UNPOISON(APage, size);
  APage->~TPage();
  if (size == cLastPage && tKept.Count < cKeptPages && KeepingPages()) {
    VN_POISON(APage, size);
    tKept.Pages[tKept.Count++] = APage;
    return;
  }
  ::operator delete(static_cast<void *>(APage));
}

// A page of ASize bytes, a kept one if the thread has one.
void *NewPage(std::size_t ASize) {
  if (ASize == cLastPage && tKept.Count > 0) {
    void *page = tKept.Pages[--tKept.Count];
    VN_UNPOISON(page, ASize);
    return page;
  }
  return ::operator new(ASize);
}

// Counts ACount nodes off a page, and frees it when that was the last reference.
void ReleasePage(TVnNodePages::TPage *APage, std::int64_t ACount) noexcept {
  if (APage->Live.fetch_sub(ACount, std::memory_order_acq_rel) == ACount) FreePage(APage);
}

}  // namespace

TVnNodeReleaseBatch::TVnNodeReleaseBatch() noexcept : FOuter(tCurrent) {
  tCurrent = this;
}

TVnNodeReleaseBatch::~TVnNodeReleaseBatch() {
  Flush();
  tCurrent = FOuter;
}

void TVnNodeReleaseBatch::Flush() noexcept {
  if (FPage) ReleasePage(FPage, FCount);
  FPage = nullptr;
  FCount = 0;
}

TVnNodePages::TVnNodePages() noexcept : FOuter(tCurrent) {
  // The largest slot fits on the smallest page after the page's count.
  static_assert(cLargestSlot <= cFirstPage - 2 * cAlign);
  tCurrent = this;
}

TVnNodePages::~TVnNodePages() {
  Leave();
  if (tCurrent == this) tCurrent = FOuter;
}

TVnNodePages::TEditUse::TEditUse() noexcept : FActive(tCurrent == nullptr) {
  if (FActive) tCurrent = &EditPages();
}

TVnNodePages::TEditUse::~TEditUse() {
  if (FActive) tCurrent = nullptr;
}

void TVnNodePages::Leave() noexcept {
  if (!FPage) return;
  // The nodes cut from the page join its count and the load's bias leaves it.
  ReleasePage(FPage, cBias - FCut);
  FPage = nullptr;
  FNext = FEnd = nullptr;
  FCut = 0;
}

void *TVnNodePages::Cut(std::size_t ASize, bool AText) {
  const std::size_t slot = SlotFor(ASize, AText);
  if (slot > cLargestSlot) return nullptr;
  Byte *word = SlotStart(AText);
  if (FEnd - word < static_cast<std::ptrdiff_t>(slot)) {
    Leave();
    const std::size_t size = FNextSize;
    if (!FEdit) FNextSize = std::min(FNextSize * 2, cLastPage);
    auto *raw = static_cast<Byte *>(NewPage(size));
    FPage = new (raw) TPage{cBias, size};
    // The first node starts one alignment unit in, after the page's count; its word sits just
    // in front of it.
    FNext = raw + sizeof(TPage) + cAlign - cWord;
    FEnd = raw + size;
    VN_POISON(FNext, static_cast<std::size_t>(FEnd - FNext));
    word = FNext;
  }
  VN_UNPOISON(word, cWord + ASize);
  return TakeSlot(word, slot);
}

TVnNodePages &TVnNodePages::EditPages() noexcept {
  static thread_local TVnNodePages pages(TEdit{});
  return pages;
}

void *TVnNodePages::AllocateOther(std::size_t ASize, bool AText) {
  if (TVnNodePages *pages = tCurrent) {
    if (void *object = pages->Cut(ASize, AText)) return object;
  }
  // A node of its own: one alignment unit in front of it, its page word (null) at the end of it.
  auto *raw = static_cast<Byte *>(::operator new(cAlign + ASize));
  void *object = raw + cAlign;
  PageOf(object) = nullptr;
  return object;
}

void TVnNodePages::ReleaseOther(void *AObject, std::size_t ASize) noexcept {
  if (!AObject) return;
  TVnNodePages::TPage *page = PageOf(AObject);
  if (!page) {
    ::operator delete(static_cast<Byte *>(AObject) - cAlign);
    return;
  }
  VN_POISON(static_cast<Byte *>(AObject) - cWord, cWord + ASize);
  if (TVnNodeReleaseBatch *batch = TVnNodeReleaseBatch::tCurrent) {
    // Nodes freed one after the other mostly share their page: they are counted off it together.
    if (batch->FPage != page) {
      batch->Flush();
      batch->FPage = page;
    }
    ++batch->FCount;
    return;
  }
  ReleasePage(page, 1);
}

}  // namespace vn
