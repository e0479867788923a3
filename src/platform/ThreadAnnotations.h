#pragma once

#include <mutex>

#include "platform/Visibility.h"

// Clang's thread-safety analysis (-Wthread-safety): what a mutex guards is
// stated in the type, and the clang build checks every access. Other
// compilers see plain declarations.
#if defined(__clang__)
#define SKYL_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define SKYL_THREAD_ANNOTATION(x)
#endif

#define SKYL_CAPABILITY(name) SKYL_THREAD_ANNOTATION(capability(name))
#define SKYL_SCOPED_CAPABILITY SKYL_THREAD_ANNOTATION(scoped_lockable)
#define SKYL_GUARDED_BY(mutex) SKYL_THREAD_ANNOTATION(guarded_by(mutex))
#define SKYL_REQUIRES(...) SKYL_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define SKYL_EXCLUDES(...) SKYL_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define SKYL_ACQUIRE(...) SKYL_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define SKYL_RELEASE(...) SKYL_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define SKYL_NO_THREAD_SAFETY_ANALYSIS SKYL_THREAD_ANNOTATION(no_thread_safety_analysis)

namespace SKYLARK_API skylark {

// std::mutex, annotated.
class SKYL_CAPABILITY("mutex") Mutex {
 public:
  void lock() SKYL_ACQUIRE() { mutex_.lock(); }
  void unlock() SKYL_RELEASE() { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

// Holds a Mutex for its scope.
class SKYL_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) SKYL_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~MutexLock() SKYL_RELEASE() { mutex_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
};

}  // namespace skylark
