// Diagnostics. Every message the library emits goes through Log() at error
// priority under the tag "orvel": to the installed sink when there is one,
// otherwise to the platform log (liblog, or stderr where liblog is absent).
#pragma once

#include "orvel/core/export.h"

namespace orvel {

constexpr int kLogPriorityError = 6;  // ANDROID_LOG_ERROR
constexpr const char kLogTag[] = "orvel";

// Receives the fully formatted message (trailing newline included, if the
// message has one). Called on the thread that logs.
using OvLogSink = void (*)(void* context, int priority, const char* tag, const char* message);

// Routes every later diagnostic to sink; a null sink restores the platform log.
// Not synchronised: set it while no other thread logs.
ORVEL_API void SetLogSink(OvLogSink sink, void* context);

// Formats and emits one message at the given priority. Messages longer than
// 1023 bytes are cut.
ORVEL_API void Log(int priority, const char* format, ...) __attribute__((format(printf, 2, 3)));

// The fatal-error convention: logs "Orvel fatal error: \"<reason>\"\n" and
// then calls ov_abort_handler(), which returns. The caller goes on to leave the
// defined result that its own contract names.
ORVEL_API void FatalError(const char* reason);

}  // namespace orvel

// Logs "ov_abort_handler(): Orvel unrecoverable error" and returns: the
// library never ends the process.
extern "C" ORVEL_API void ov_abort_handler();
