#pragma once

namespace Drive::Testing {

/// Hides the kit's own locks and accesses from the thread sanitizer while it lives. The baton that the kit passes from
/// thread to thread would otherwise order everything and no race of the engine could ever be seen. What really orders
/// threads (the engine's mutexes, the start of a thread) is shown to the sanitizer. Also marks the thread as "inside
/// the kit", so that the kit's own waits are not taken for waits of the engine. May be nested.
class Untraced {
public:
    Untraced();
    ~Untraced();
    Untraced(const Untraced&) = delete;
    Untraced& operator=(const Untraced&) = delete;

    /// True while the calling thread is inside the kit.
    static bool Inside();
};

/// The opposite, inside an Untraced block: what stands in it is seen.
class Traced {
public:
    Traced();
    ~Traced();
    Traced(const Traced&) = delete;
    Traced& operator=(const Traced&) = delete;

private:
    int before;
};

/// Tells the sanitizer that everything before PublishTo on one thread is seen after TakeFrom on another.
void PublishTo(void* place);
void TakeFrom(void* place);

}  // namespace Drive::Testing
