// Helpers of the thread tests: work run on several threads that start together, a queue that
// hands objects from one thread to another, and a transcript of results as text.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "vnxml/rtl/SysUtils.h"
#include "vnxml/rtl/Streams.h"

namespace threadtest {

using namespace vn;

// Threads of each test; more than the cores, so that the threads also interleave mid-call.
constexpr int cThreads = 4;

// Runs AWork(i) for i = 0 .. ACount-1, each on a thread of its own; the threads wait for each
// other before they start, so that their work overlaps. The results come back in the order of
// i; the first exception of a thread is raised again here once all have ended.
template <class R>
std::vector<R> OnThreads(int ACount, const std::function<R(int)> &AWork) {
  std::vector<R> results(static_cast<std::size_t>(ACount));
  std::vector<std::exception_ptr> failures(static_cast<std::size_t>(ACount));
  // The threads spin rather than sleep at the start, so that none is still being woken up when
  // the first ones are done with what is made on first use.
  std::atomic<int> arrived{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < ACount; ++i) {
    threads.emplace_back([&, i] {
      arrived.fetch_add(1);
      while (arrived.load() < ACount) std::this_thread::yield();
      try {
        results[static_cast<std::size_t>(i)] = AWork(i);
      } catch (...) {
        failures[static_cast<std::size_t>(i)] = std::current_exception();
      }
    });
  }
  for (std::thread &t : threads) t.join();
  for (const std::exception_ptr &f : failures)
    if (f) std::rethrow_exception(f);
  return results;
}

// A queue between threads. Close() ends Pop() once the queue is empty.
template <class T>
class TQueue {
 public:
  void Push(T AItem) {
    {
      std::lock_guard g(FLock);
      FItems.push_back(std::move(AItem));
    }
    FReady.notify_one();
  }
  void Close() {
    {
      std::lock_guard g(FLock);
      FClosed = true;
    }
    FReady.notify_all();
  }
  std::optional<T> Pop() {
    std::unique_lock g(FLock);
    FReady.wait(g, [this] { return !FItems.empty() || FClosed; });
    if (FItems.empty()) return std::nullopt;
    T item = std::move(FItems.front());
    FItems.pop_front();
    return item;
  }

 private:
  std::mutex FLock;
  std::condition_variable FReady;
  std::deque<T> FItems;
  bool FClosed = false;
};

// Results written one per line.
class TLog {
 public:
  TLog &operator<<(const std::string &AText) {
    FText += AText;
    return *this;
  }
  TLog &operator<<(const char *AText) {
    FText += AText;
    return *this;
  }
  TLog &operator<<(UnicodeStringView AText) {
    FText += UTF8Encode(AText);
    return *this;
  }
  TLog &operator<<(const UnicodeString &AText) { return *this << UnicodeStringView(AText); }
  TLog &operator<<(const char16_t *AText) { return *this << UnicodeStringView(AText); }
  TLog &operator<<(Int64 AValue) {
    FText += std::to_string(AValue);
    return *this;
  }
  TLog &operator<<(Integer AValue) { return *this << Int64(AValue); }
  TLog &operator<<(bool AValue) { return *this << (AValue ? "true" : "false"); }
  // Floats exactly, so that a difference in the last bit shows.
  TLog &operator<<(Double AValue) {
    char buf[40];
    std::snprintf(buf, sizeof buf, "%a", AValue);
    FText += buf;
    return *this;
  }
  // Addresses, for records that must be one per process.
  TLog &operator<<(const void *AValue) {
    char buf[40];
    std::snprintf(buf, sizeof buf, "%p", AValue);
    FText += buf;
    return *this;
  }
  const std::string &Text() const noexcept { return FText; }

 private:
  std::string FText;
};

// The bytes of a memory stream.
inline std::string Bytes(TMemoryStream &AStream) {
  return std::string(static_cast<const char *>(AStream.Memory()),
                     static_cast<std::size_t>(AStream.GetSize()));
}

// The text of any exception, for transcripts that record failures too.
inline std::string FailureText() {
  try {
    throw;
  } catch (const Exception &E) {
    return "exception " + UTF8Encode(E.ClassName()) + ": " + E.what();
  } catch (const std::exception &E) {
    return std::string("exception: ") + E.what();
  }
}

// Every result equals the expected one; the first difference is reported with its thread.
inline void ExpectAllEqual(const std::vector<std::string> &AResults, const std::string &AExpected) {
  ASSERT_FALSE(AExpected.empty());
  for (std::size_t i = 0; i < AResults.size(); ++i) {
    if (AResults[i] == AExpected) continue;
    std::size_t at = 0;
    while (at < AResults[i].size() && at < AExpected.size() && AResults[i][at] == AExpected[at])
      ++at;
    ADD_FAILURE() << "result " << i << " differs at byte " << at << ":\n  got      \""
                  << AResults[i].substr(at, 80) << "\"\n  expected \"" << AExpected.substr(at, 80)
                  << "\"";
  }
}

}  // namespace threadtest
