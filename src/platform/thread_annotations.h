#pragma once

// Names for the static checks of a compiler that knows which lock guards what. Elsewhere they
// expand to nothing.

#if defined(__clang__)
#define QDVM_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define QDVM_THREAD_ATTRIBUTE(x)
#endif

#define QDVM_CAPABILITY(name) QDVM_THREAD_ATTRIBUTE(capability(name))
#define QDVM_SCOPED_CAPABILITY QDVM_THREAD_ATTRIBUTE(scoped_lockable)
#define QDVM_GUARDED_BY(lock) QDVM_THREAD_ATTRIBUTE(guarded_by(lock))
#define QDVM_PT_GUARDED_BY(lock) QDVM_THREAD_ATTRIBUTE(pt_guarded_by(lock))
#define QDVM_REQUIRES(...) QDVM_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define QDVM_REQUIRES_SHARED(...) QDVM_THREAD_ATTRIBUTE(requires_shared_capability(__VA_ARGS__))
#define QDVM_ACQUIRE(...) QDVM_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define QDVM_ACQUIRE_SHARED(...) QDVM_THREAD_ATTRIBUTE(acquire_shared_capability(__VA_ARGS__))
#define QDVM_RELEASE(...) QDVM_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define QDVM_RELEASE_SHARED(...) QDVM_THREAD_ATTRIBUTE(release_shared_capability(__VA_ARGS__))
#define QDVM_RELEASE_GENERIC(...) QDVM_THREAD_ATTRIBUTE(release_generic_capability(__VA_ARGS__))
#define QDVM_TRY_ACQUIRE(...) QDVM_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define QDVM_EXCLUDES(...) QDVM_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define QDVM_RETURN_CAPABILITY(lock) QDVM_THREAD_ATTRIBUTE(lock_returned(lock))
#define QDVM_NO_THREAD_SAFETY_ANALYSIS QDVM_THREAD_ATTRIBUTE(no_thread_safety_analysis)
