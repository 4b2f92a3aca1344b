// The process-wide log sink: one atomic function pointer, read without a lock.
#include "vnxml/common/uVnLogger.h"

#include <atomic>

namespace vn {

namespace {

std::atomic<TVnLogSink> GSink{nullptr};

}  // namespace

TVnLogSink VnSetLogSink(TVnLogSink ASink) noexcept {
  return GSink.exchange(ASink, std::memory_order_acq_rel);
}

TVnLogSink VnGetLogSink() noexcept {
  return GSink.load(std::memory_order_acquire);
}

void VnLog(const UnicodeString &ALogger, const UnicodeString &AMessage) {
  if (TVnLogSink sink = GSink.load(std::memory_order_acquire)) sink(ALogger, AMessage);
}

}  // namespace vn
