// Calls into modules that have not landed yet, in one list. The agent makes each such call
// at the place and under the conditions where the finished agent makes it, through
// waitingCall, which only counts it; around the call the agent behaves as though the module
// were there with nothing running (no hover, no grab, no key repeat). When a module lands,
// its entries go and each call site makes the real call: a test fails while a module's
// file exists and entries still name it.
#pragma once

#include <cstddef>
#include <cstdint>

// Each entry: the call, the callee as the reference names it, and the file the callee will
// live in, from the project's root.
// clang-format off
#define VARSEL_WAITING_CALLS(X)                                                            \
  X(install_start, "start", "bg/VAinstall.cpp")                                            \
  X(checkNeedToRemovePrevVersion, "checkNeedToRemovePrevVersion", "bg/VAinstall.cpp")      \
  X(install_setOpenAtLogin, "install_setOpenAtLogin", "bg/VAinstall.cpp")                  \
  X(bgAppDelegate_validatePath, "bgAppDelegate_validatePath", "bg/VAinstall.cpp")
// clang-format on

enum class Waiting : uint8_t {
#define VARSEL_WAITING_ENUM(call, callee, file) call,
  VARSEL_WAITING_CALLS(VARSEL_WAITING_ENUM)
#undef VARSEL_WAITING_ENUM
};

struct WaitingCall {
  Waiting call;
  const char* name;  // as the call sites spell it
  const char* callee;
  const char* file;
};

inline constexpr WaitingCall kWaitingCalls[] = {
#define VARSEL_WAITING_ENTRY(call, callee, file) {Waiting::call, #call, callee, file},
    VARSEL_WAITING_CALLS(VARSEL_WAITING_ENTRY)
#undef VARSEL_WAITING_ENTRY
};
inline constexpr size_t kWaitingCallCount = sizeof kWaitingCalls / sizeof kWaitingCalls[0];

// The call is reached with the one argument that varies (a direction, a key action, how
// the zones fade): counted and the argument kept, nothing else. No allocation and no lock,
// so the event thread may reach it.
void waitingCall(Waiting call, int64_t argument = 0);
// How often the call was reached since the modules were last reset, and its last argument.
uint32_t waitingCallCount(Waiting call);
int64_t waitingCallArgument(Waiting call);
void waitingCalls_reset();
