// Mutex and MutexLock: std::mutex with the annotations that clang's
// -Wthread-safety checks (scripts/check-thread-safety.sh), so that "guarded by"
// is a declaration the compiler holds us to, not a comment. Under g++ the
// annotations are empty and these are plain wrappers.
#pragma once

#include <mutex>

#if defined(__clang__)
#define ZEPHYL_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define ZEPHYL_THREAD_ANNOTATION(x)
#endif

#define ZEPHYL_CAPABILITY(x) ZEPHYL_THREAD_ANNOTATION(capability(x))
#define ZEPHYL_SCOPED_CAPABILITY ZEPHYL_THREAD_ANNOTATION(scoped_lockable)
#define ZEPHYL_GUARDED_BY(x) ZEPHYL_THREAD_ANNOTATION(guarded_by(x))
#define ZEPHYL_PT_GUARDED_BY(x) ZEPHYL_THREAD_ANNOTATION(pt_guarded_by(x))
#define ZEPHYL_REQUIRES(...) ZEPHYL_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define ZEPHYL_ACQUIRE(...) ZEPHYL_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define ZEPHYL_RELEASE(...) ZEPHYL_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define ZEPHYL_TRY_ACQUIRE(...) ZEPHYL_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define ZEPHYL_EXCLUDES(...) ZEPHYL_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ZEPHYL_RETURN_CAPABILITY(x) ZEPHYL_THREAD_ANNOTATION(lock_returned(x))
#define ZEPHYL_NO_THREAD_SAFETY_ANALYSIS ZEPHYL_THREAD_ANNOTATION(no_thread_safety_analysis)

namespace zephyl::core {

class ZEPHYL_CAPABILITY("mutex") Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock() ZEPHYL_ACQUIRE() { mutex_.lock(); }
  void unlock() ZEPHYL_RELEASE() { mutex_.unlock(); }
  bool try_lock() ZEPHYL_TRY_ACQUIRE(true) { return mutex_.try_lock(); }

 private:
  std::mutex mutex_;
};

// Holds `mutex` for its scope, or until unlock(). lock() and unlock() also let
// std::condition_variable_any release it while waiting; the analysis sees it held before and after a wait.
class ZEPHYL_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ZEPHYL_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~MutexLock() ZEPHYL_RELEASE() {
    if (held_) mutex_.unlock();
  }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

  void lock() ZEPHYL_ACQUIRE() {
    mutex_.lock();
    held_ = true;
  }
  // Released early; the destructor then leaves the mutex alone.
  void unlock() ZEPHYL_RELEASE() {
    held_ = false;
    mutex_.unlock();
  }

 private:
  Mutex& mutex_;
  bool held_ = true;
};

}  // namespace zephyl::core
