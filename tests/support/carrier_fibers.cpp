#include <cxxabi.h>
#include <elf.h>
#include <link.h>
#include <sys/mman.h>
#include <ucontext.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "tests/support/carrier.h"

#if defined(__SANITIZE_ADDRESS__)
extern "C" {
void __sanitizer_start_switch_fiber(void** fakeStack, const void* bottom, std::size_t size);
void __sanitizer_finish_switch_fiber(void* fakeStack, const void** bottomBefore, std::size_t* sizeBefore);
void __lsan_register_root_region(const void* begin, std::size_t size);
}
#endif

namespace Drive::Testing {

namespace {

constexpr std::size_t kStackSize = 2 << 20;
constexpr std::size_t kGuardSize = 64 << 10;

/// The program's own thread-local variables, those of the engine and of the kit among them. Each fiber has its own
/// values, which are put in their place while it runs.
struct OwnVariables {
    char* place = nullptr;
    const char* initial = nullptr;
    std::size_t initialSize = 0;
    std::size_t size = 0;
};

int FindOwnVariables(dl_phdr_info* info, std::size_t, void* into) {
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const ElfW(Phdr)& segment = info->dlpi_phdr[i];
        if (segment.p_type != PT_TLS) continue;
        *static_cast<OwnVariables*>(into) = {static_cast<char*>(info->dlpi_tls_data),
                                             reinterpret_cast<const char*>(info->dlpi_addr + segment.p_vaddr),
                                             segment.p_filesz, segment.p_memsz};
    }
    return 1;  // the program comes first, the libraries do not matter
}

const OwnVariables& TheVariables() {
    static const OwnVariables found = [] {
        OwnVariables variables;
        dl_iterate_phdr(FindOwnVariables, &variables);
        return variables;
    }();
    return found;
}

/// The exceptions in flight, as the runtime keeps them for each thread.
using Exceptions = std::array<char, 16>;

class FiberSeat;
FiberSeat* test = nullptr;     ///< the thread that was there already
FiberSeat* running = nullptr;  ///< may have ended when the next one takes up
FiberSeat* next = nullptr;
FiberSeat* entering = nullptr;
std::vector<void*> freeStacks;
void* stackToFree = nullptr;

class FiberSeat : public Seat {
public:
    FiberSeat() { test = running = this; }
    explicit FiberSeat(std::function<void()> chosen);

    void Wait(std::unique_lock<std::mutex>& guard, const std::function<bool()>& mine) override {
        while (!mine()) {
            guard.unlock();
            Leave();
            guard.lock();
        }
    }
    void Wake() override { next = this; }

private:
    static void Enter();
    static FiberSeat& TakeNext();
    static void Announce(void** fakeStack, const FiberSeat& seat);
    void Keep();
    void TakeUp();
    void Leave();

    std::function<void()> body;
    std::vector<char> variables;
    Exceptions exceptions{};
    int error = 0;
    ucontext_t context{};
    void* stack = nullptr;
    const void* bottom = nullptr;
    std::size_t size = 0;
    void* fakeStack = nullptr;
};

void* NewStack() {
    if (!freeStacks.empty()) {
        void* const stack = freeStacks.back();
        freeStacks.pop_back();
        return stack;
    }
    void* const stack = mmap(nullptr, kGuardSize + kStackSize, PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
    if (stack == MAP_FAILED || mprotect(stack, kGuardSize, PROT_NONE) != 0) {
        std::perror("no stack for a virtual thread");
        std::abort();
    }
#if defined(__SANITIZE_ADDRESS__)
    // What a parked fiber holds is no leak.
    __lsan_register_root_region(static_cast<char*>(stack) + kGuardSize, kStackSize);
#endif
    return stack;
}

FiberSeat::FiberSeat(std::function<void()> chosen) : body(std::move(chosen)), variables(TheVariables().size) {
    std::memcpy(variables.data(), TheVariables().initial, TheVariables().initialSize);
    stack = NewStack();
    getcontext(&context);
    context.uc_stack.ss_sp = static_cast<char*>(stack) + kGuardSize;
    context.uc_stack.ss_size = kStackSize;
    context.uc_link = nullptr;
    bottom = context.uc_stack.ss_sp;
    size = kStackSize;
    makecontext(&context, &FiberSeat::Enter, 0);
}

FiberSeat& FiberSeat::TakeNext() {
    if (next == nullptr) {
        std::fputs("virtual time: a fiber waits, and nobody was woken\n", stderr);
        std::abort();
    }
    return *std::exchange(next, nullptr);
}

void FiberSeat::Announce([[maybe_unused]] void** fakeStack, [[maybe_unused]] const FiberSeat& seat) {
#if defined(__SANITIZE_ADDRESS__)
    __sanitizer_start_switch_fiber(fakeStack, seat.bottom, seat.size);
#endif
}

void FiberSeat::Keep() {
    error = errno;
    variables.resize(TheVariables().size);
    std::memcpy(variables.data(), TheVariables().place, variables.size());
    std::memcpy(exceptions.data(), abi::__cxa_get_globals(), exceptions.size());
}

// On the stack of the one that goes on.
void FiberSeat::TakeUp() {
#if defined(__SANITIZE_ADDRESS__)
    const void* bottomBefore = nullptr;
    std::size_t sizeBefore = 0;
    __sanitizer_finish_switch_fiber(fakeStack, &bottomBefore, &sizeBefore);
    if (running == test) {
        test->bottom = bottomBefore;
        test->size = sizeBefore;
    }
#endif
    running = this;
    if (stackToFree != nullptr) freeStacks.push_back(std::exchange(stackToFree, nullptr));
    std::memcpy(TheVariables().place, variables.data(), variables.size());
    std::memcpy(static_cast<void*>(abi::__cxa_get_globals()), exceptions.data(), exceptions.size());
    errno = error;
}

void FiberSeat::Leave() {
    FiberSeat& chosen = TakeNext();
    if (&chosen == this) return;
    Keep();
    Announce(&fakeStack, chosen);
    entering = &chosen;
    swapcontext(&context, &chosen.context);
    TakeUp();
}

void FiberSeat::Enter() {
    entering->TakeUp();
    void* const mine = entering->stack;
    std::function<void()> body = std::move(entering->body);
    body();
    body = nullptr;
    // The seat may be gone by now, with the virtual thread that it belonged to; the stack is still in use.
    FiberSeat& chosen = TakeNext();
    stackToFree = mine;
    Announce(nullptr, chosen);
    entering = &chosen;
    setcontext(&chosen.context);
}

}  // namespace

bool Carrier::HasOutside() { return false; }

std::unique_ptr<Seat> Carrier::SeatOfCaller() { return std::make_unique<FiberSeat>(); }

std::unique_ptr<Seat> Carrier::Start(std::function<void()> body) {
    return std::make_unique<FiberSeat>(std::move(body));
}

// A run that hangs is ended by whoever started the process.
void Carrier::StartClock(std::function<void()>) {}

}  // namespace Drive::Testing
