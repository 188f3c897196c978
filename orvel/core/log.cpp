#include "orvel/core/log.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#if defined(ORVEL_HAVE_LIBLOG)
extern "C" int __android_log_print(int prio, const char* tag, const char* fmt, ...);
#endif

namespace orvel {
namespace {

OvLogSink gSink = nullptr;
void* gSinkContext = nullptr;

void Emit(int priority, const char* message) {
  if (gSink) {
    gSink(gSinkContext, priority, kLogTag, message);
    return;
  }
#if defined(ORVEL_HAVE_LIBLOG)
  __android_log_print(priority, kLogTag, "%s", message);
#else
  size_t n = std::strlen(message);
  std::fprintf(stderr, "E/%s: %s%s", kLogTag, message, (n && message[n - 1] == '\n') ? "" : "\n");
#endif
}

}  // namespace

void SetLogSink(OvLogSink sink, void* context) {
  gSink = sink;
  gSinkContext = context;
}

void Log(int priority, const char* format, ...) {
  char buffer[1024];
  va_list args;
  va_start(args, format);
  std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  Emit(priority, buffer);
}

void FatalError(const char* reason) {
  Log(kLogPriorityError, "Orvel fatal error: \"%s\"\n", reason ? reason : "");
  ov_abort_handler();
}

}  // namespace orvel

extern "C" void ov_abort_handler() {
  orvel::Log(orvel::kLogPriorityError, "ov_abort_handler(): Orvel unrecoverable error");
}
