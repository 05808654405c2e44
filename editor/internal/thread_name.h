// Names the calling thread, so that it can be told apart in a debugger or a
// crash report.
#pragma once

#include <pthread.h>

#include <string>

namespace zephyl::editor::internal {

inline void setCurrentThreadName(const std::string& name) {
#if defined(__APPLE__)
  pthread_setname_np(name.c_str());
#else
  // Linux keeps at most 15 bytes and refuses longer names outright.
  pthread_setname_np(pthread_self(), name.substr(0, 15).c_str());
#endif
}

}  // namespace zephyl::editor::internal
