#include "tests/support/untraced.h"

#include "tests/support/watching.h"

#if defined(__SANITIZE_THREAD__)
extern "C" {
void AnnotateIgnoreReadsBegin(const char*, int);
void AnnotateIgnoreReadsEnd(const char*, int);
void AnnotateIgnoreWritesBegin(const char*, int);
void AnnotateIgnoreWritesEnd(const char*, int);
void AnnotateIgnoreSyncBegin(const char*, int);
void AnnotateIgnoreSyncEnd(const char*, int);
void __tsan_acquire(void*);
void __tsan_release(void*);
}
#endif

namespace Drive::Testing {

namespace {

thread_local int depth = 0;

void Hide() {
#if defined(__SANITIZE_THREAD__)
    AnnotateIgnoreReadsBegin(__FILE__, __LINE__);
    AnnotateIgnoreWritesBegin(__FILE__, __LINE__);
    AnnotateIgnoreSyncBegin(__FILE__, __LINE__);
#endif
}

void Show() {
#if defined(__SANITIZE_THREAD__)
    AnnotateIgnoreSyncEnd(__FILE__, __LINE__);
    AnnotateIgnoreWritesEnd(__FILE__, __LINE__);
    AnnotateIgnoreReadsEnd(__FILE__, __LINE__);
#endif
}

}  // namespace

namespace {

thread_local int keeping = 0;
thread_local int unwatched = 0;

}  // namespace

KeepBaton::KeepBaton() { ++keeping; }
KeepBaton::~KeepBaton() { --keeping; }
bool KeepBaton::On() { return keeping > 0; }

Unwatched::Unwatched() { ++unwatched; }
Unwatched::~Unwatched() { --unwatched; }
bool Unwatched::On() { return unwatched > 0; }

Untraced::Untraced() {
    if (depth++ == 0) Hide();
}

Untraced::~Untraced() {
    if (--depth == 0) Show();
}

bool Untraced::Inside() { return depth > 0; }

Traced::Traced() : before(depth) {
    if (before > 0) Show();
    depth = 0;
}

Traced::~Traced() {
    depth = before;
    if (before > 0) Hide();
}

void PublishTo([[maybe_unused]] void* place) {
    Traced seen;
#if defined(__SANITIZE_THREAD__)
    __tsan_release(place);
#endif
}

void TakeFrom([[maybe_unused]] void* place) {
    Traced seen;
#if defined(__SANITIZE_THREAD__)
    __tsan_acquire(place);
#endif
}

}  // namespace Drive::Testing
