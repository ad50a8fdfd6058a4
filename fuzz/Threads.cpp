/* The linker leads the library's thread functions here (--wrap); see the header. */
#include "Threads.h"

#include <sys/mman.h>
#include <ucontext.h>

#include <cerrno>
#include <memory>
#include <utility>
#include <vector>

#include "Input.h"
#include "QUARLO-Core-Audio.h"
#include "QUARLO-Core-Utilities.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QUARLO_FUZZ_ASAN
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(QUARLO_FUZZ_ASAN)
#include <sanitizer/common_interface_defs.h>
#else
static void __sanitizer_start_switch_fiber(void**, const void*, std::size_t) {}
static void __sanitizer_finish_switch_fiber(void*, const void**, std::size_t*) {}
#endif

namespace quarlo::fuzz::threads {
namespace {

/** Small enough for AddressSanitizer to clear its marks without a system call at each turn. */
constexpr std::size_t stackSize = std::size_t{256} * 1024;
/** A pause counts as so many: the library waits seconds in steps of a millisecond. */
constexpr unsigned hurry = 50;
/** Far more turns than any thread needs that has been asked to end. */
constexpr unsigned patience = 5000;

class Stack {
  public:
    Stack()
        : block(mmap(nullptr, stackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1,
                     0)) {
        require(block != MAP_FAILED, "no memory for a stack");
    }
    ~Stack() { munmap(block, stackSize); }
    Stack(const Stack&) = delete;
    Stack& operator=(const Stack&) = delete;
    void* block;
};

struct Thread {
    void* (*start)(void*);
    void* arguments;
    std::unique_ptr<Stack> stack;
    ucontext_t context{};
    ThisThread own{};
    void* value = nullptr;
    void* fakeStack = nullptr;
    bool isOver = false;    // its function has returned
    bool hasEnded = false;  // and the library knows
    bool isJoined = false;
    bool isCancelled = false;
    bool canBeCancelled = true;
};

std::vector<std::unique_ptr<Thread>> all;  // the id is the index plus 1
std::vector<std::unique_ptr<Stack>> spareStacks;
Thread* current = nullptr;
void (*whenEnded)(void* value) = nullptr;
unsigned turnsSinceEnd = 0;  // of whoever waits
ucontext_t fuzzing;
const void* fuzzingStack = nullptr;
std::size_t fuzzingStackSize = 0;
unsigned refusedCreation = 0;
std::uint32_t milliseconds = 0;

void leave(Thread& thread, void** fakeStack) {
    __sanitizer_start_switch_fiber(fakeStack, fuzzingStack, fuzzingStackSize);
    swapcontext(&thread.context, &fuzzing);
    if (fakeStack != nullptr) __sanitizer_finish_switch_fiber(*fakeStack, nullptr, nullptr);
}

void run() {
    __sanitizer_finish_switch_fiber(nullptr, &fuzzingStack, &fuzzingStackSize);
    Thread& thread = *current;
    thread.start(thread.arguments);
    thread.isOver = true;
    leave(thread, nullptr);
}

/** Tells the library of a thread's end. */
void end(Thread& thread) {
    thread.hasEnded = true;
    turnsSinceEnd = 0;
    if (thread.value != nullptr) whenEnded(std::exchange(thread.value, nullptr));
}

void giveTurn(Thread& thread) {
    if (thread.hasEnded) return;
    if (thread.isCancelled && thread.canBeCancelled) return end(thread);
    const ThisThread mine = std::exchange(thisThread, thread.own);
    current = &thread;
    void* fakeStack = nullptr;
    __sanitizer_start_switch_fiber(&fakeStack, thread.stack->block, stackSize);
    swapcontext(&fuzzing, &thread.context);
    __sanitizer_finish_switch_fiber(fakeStack, nullptr, nullptr);
    current = nullptr;
    if (thread.isOver) end(thread);
    thread.own = std::exchange(thisThread, mine);
}

std::unique_ptr<Stack> takeStack() {
    if (spareStacks.empty()) return std::make_unique<Stack>();
    std::unique_ptr<Stack> stack = std::move(spareStacks.back());
    spareStacks.pop_back();
    return stack;
}

Thread& threadOf(quarloThread_t id) {
    require(id != 0 && id <= all.size(), "no such thread");
    return *all[id - 1];
}

}  // namespace

void yield() {
    if (current != nullptr) return leave(*current, &current->fakeStack);
    // A turn may create further threads.
    for (std::size_t i = 0; i < all.size(); ++i) giveTurn(*all[i]);
}

void refuse(unsigned nth) {
    refusedCreation = nth;
}

void requireAllJoined() {
    for (std::unique_ptr<Thread>& thread : all) {
        require(thread->hasEnded && thread->isJoined, "a thread was not joined");
        spareStacks.push_back(std::move(thread->stack));
    }
    all.clear();
    refusedCreation = 0;
    milliseconds = 0;
}

}  // namespace quarlo::fuzz::threads

using namespace quarlo::fuzz;
using namespace quarlo::fuzz::threads;

extern "C" {
int __real_quarloThread_key_create(quarloThread_key_t* key, void (*ended)(void* value));
int __wrap_quarloThread_create(quarloThread_t* id, const quarloThread_attr_t* attributes,
                               void* (*start)(void*), void* arguments);
int __wrap_quarloThread_join(quarloThread_t id, void** result);
int __wrap_quarloThread_cancel(quarloThread_t id);
int __wrap_quarloThread_setcancelstate(int state, int* oldState);
int __wrap_quarloThread_setcanceltype(int type, int* oldType);
int __wrap_quarloThread_SetName(const char* name);
int __wrap_quarloThread_cond_wait(quarloThread_cond_t* condition, quarloThread_mutex_t* mutex);
int __wrap_quarloThread_cond_timedwait(quarloThread_cond_t* condition, quarloThread_mutex_t* mutex,
                                       const quarloTime_t* deadline);
int __wrap_quarloThread_key_create(quarloThread_key_t* key, void (*ended)(void* value));
int __wrap_quarloThread_setspecific(quarloThread_key_t key, void* value);
void __wrap_quarloPosix_pause(unsigned int amount);
UInt32 __wrap_quarlo_GetTimestamp();

int __wrap_quarloThread_create(quarloThread_t* id, const quarloThread_attr_t*,
                               void* (*start)(void*), void* arguments) {
    if (refusedCreation > 0 && --refusedCreation == 0) return EAGAIN;
    auto thread = std::make_unique<Thread>();
    thread->start = start;
    thread->arguments = arguments;
    thread->stack = takeStack();
    getcontext(&thread->context);
    thread->context.uc_stack.ss_sp = thread->stack->block;
    thread->context.uc_stack.ss_size = stackSize;
    thread->context.uc_link = nullptr;
    makecontext(&thread->context, &run, 0);
    all.push_back(std::move(thread));
    *id = all.size();
    return 0;
}

/** Joined is what has recorded its end: nobody ever waits here. */
int __wrap_quarloThread_join(quarloThread_t id, void**) {
    Thread& thread = threadOf(id);
    require(!thread.isJoined, "a thread is joined twice");
    require(thread.hasEnded, "a thread is joined before its end");
    thread.isJoined = true;
    return 0;
}

int __wrap_quarloThread_cancel(quarloThread_t id) {
    Thread& thread = threadOf(id);
    require(!thread.isJoined, "a joined thread is cancelled");
    thread.isCancelled = true;
    return 0;
}

int __wrap_quarloThread_setcancelstate(int state, int* oldState) {
    if (oldState != nullptr) *oldState = 0;
    if (current != nullptr) current->canBeCancelled = state == QUARLOTHREAD_CANCEL_ENABLE;
    return 0;
}

int __wrap_quarloThread_setcanceltype(int, int* oldType) {
    if (oldType != nullptr) *oldType = 0;
    return 0;
}

int __wrap_quarloThread_SetName(const char* name) {
    look(name, 1);
    return 0;
}

int __wrap_quarloThread_key_create(quarloThread_key_t* key, void (*ended)(void* value)) {
    whenEnded = ended;
    return __real_quarloThread_key_create(key, nullptr);
}

int __wrap_quarloThread_setspecific(quarloThread_key_t, void* value) {
    require(current != nullptr, "a record for a thread that is not the library's");
    current->value = value;
    return 0;
}

int __wrap_quarloThread_cond_wait(quarloThread_cond_t*, quarloThread_mutex_t* mutex) {
    require(++turnsSinceEnd < patience, "a wait for a thread that does not end");
    quarloThread_mutex_unlock(mutex);
    yield();
    quarloThread_mutex_lock(mutex);
    return 0;
}

/** A deadline comes with the next turn. */
int __wrap_quarloThread_cond_timedwait(quarloThread_cond_t*, quarloThread_mutex_t* mutex,
                                       const quarloTime_t*) {
    quarloThread_mutex_unlock(mutex);
    milliseconds += 1000;
    yield();
    quarloThread_mutex_lock(mutex);
    return ETIMEDOUT;
}

void __wrap_quarloPosix_pause(unsigned int amount) {
    milliseconds += amount * hurry;
    yield();
}

UInt32 __wrap_quarlo_GetTimestamp() {
    return milliseconds;
}
}
