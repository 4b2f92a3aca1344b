// Where the library's log messages go.
//
// The library logs in one place only: the trace() function of path predicates writes to the
// logger named "XPath". A message goes to one process-wide sink, a plain function that gets the
// logger's name and the text. The default sink writes nothing; an application that wants the
// messages sets its own at start-up:
//
//   void ToStdErr(const UnicodeString &ALogger, const UnicodeString &AMessage) {
//     std::cerr << ALogger << ": " << AMessage << '\n';
//   }
//   VnSetLogSink(ToStdErr);
//
// The sink is read on every message and may be read by any number of threads; setting it is
// atomic, so a change is seen whole by the next message on any thread. A sink is called on the
// thread that logs and must be safe to call from every thread that does.
#pragma once

#include "vnxml/rtl/Types.h"

namespace vn {

using TVnLogSink = void (*)(const UnicodeString &ALogger, const UnicodeString &AMessage);

// The name of the logger of trace().
inline constexpr const char16_t *cVnXPathLogger = u"XPath";

// Sets the sink and answers the one it replaces; nullptr brings back the default, which writes
// nothing.
TVnLogSink VnSetLogSink(TVnLogSink ASink) noexcept;
// The sink in force; nullptr while the default is.
TVnLogSink VnGetLogSink() noexcept;
// Hands a message of the logger ALogger to the sink. What the sink raises passes to the caller.
void VnLog(const UnicodeString &ALogger, const UnicodeString &AMessage);

}  // namespace vn
