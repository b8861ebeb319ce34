// What ARC asks of the Objective-C runtime and Debian's libobjc lacks, on top of what libobjc has: messages
// to retain, release and autorelease. (With the linker's --wrap, see Loader.cpp.)

#include <Block.h>
#include <cstddef>
#include <cstdint>
#include <mutex>

namespace {

using Class = const void*;
using Selector = const void*;
using Method = void* (*)(void* object, Selector selector, ...);

struct Super {
    void* object;
    Class superclass;
};

/// Where Clang finds the method to call.
struct Slot {
    void* unused[3];
    int version;
    Method method;
};

}  // namespace

extern "C" {

extern void* _NSConcreteGlobalBlock[];
extern void* _NSConcreteMallocBlock[];
extern void* _NSConcreteStackBlock[];

Method objc_msg_lookup(void* object, Selector selector);
Method objc_msg_lookup_super(Super* super, Selector selector);
void* objc_lookUpClass(const char* name);
Selector sel_registerName(const char* name);
int __gxx_personality_v0(int version, int actions, std::uint64_t type, void* exception, void* context);
}

namespace {

void* send(void* object, const char* message) {
    const Selector selector = sel_registerName(message);
    return objc_msg_lookup(object, selector)(object, selector);
}

/// libobjc does not know the classes of blocks, so they cannot be sent messages.
bool isBlock(void* object) {
    void* const itsClass = *static_cast<void**>(object);
    return itsClass == _NSConcreteGlobalBlock || itsClass == _NSConcreteMallocBlock ||
           itsClass == _NSConcreteStackBlock;
}

Slot* slotOf(Method method) {
    static thread_local Slot slot;
    slot.method = method;
    return &slot;
}

}  // namespace

extern "C" {

Slot* objc_msg_lookup_sender(void** object, Selector selector, void*) {
    return slotOf(objc_msg_lookup(*object, selector));
}

Slot* objc_slot_lookup_super(Super* super, Selector selector) {
    return slotOf(objc_msg_lookup_super(super, selector));
}

void* objc_retain(void* object) {
    if (object == nullptr) {
        return nullptr;
    }
    return isBlock(object) ? _Block_copy(object) : send(object, "retain");
}

void objc_release(void* object) {
    if (object == nullptr) {
        return;
    }
    // One at a time: the thread sanitizer cannot see how libraries that it was not built into count
    // references.
    static auto& mutex = *new std::recursive_mutex;
    const std::lock_guard lock(mutex);
    if (isBlock(object)) {
        _Block_release(object);
    } else {
        send(object, "release");
    }
}

void* objc_autorelease(void* object) {
    return object == nullptr ? nullptr : send(object, "autorelease");
}

void* objc_retainBlock(void* block) {
    return objc_retain(block);
}

void* objc_retainAutorelease(void* object) {
    return objc_autorelease(objc_retain(object));
}

void* objc_retainAutoreleaseReturnValue(void* object) {
    return objc_retainAutorelease(object);
}

void* objc_autoreleaseReturnValue(void* object) {
    return objc_autorelease(object);
}

void* objc_retainAutoreleasedReturnValue(void* object) {
    return objc_retain(object);
}

void objc_storeStrong(void** place, void* object) {
    void* const old = *place;
    *place = objc_retain(object);
    objc_release(old);
}

void objc_setProperty_nonatomic_copy(void* object, Selector, void* value, std::ptrdiff_t offset) {
    void** const place = reinterpret_cast<void**>(static_cast<std::byte*>(object) + offset);
    void* const old = *place;
    *place = value == nullptr || isBlock(value) ? objc_retain(value) : send(value, "copy");
    objc_release(old);
}

void* objc_autoreleasePoolPush() {
    return send(send(objc_lookUpClass("NSAutoreleasePool"), "alloc"), "init");
}

void objc_autoreleasePoolPop(void* pool) {
    send(pool, "release");
}

// A weak reference is not emptied when its object goes: nothing under test looks at one after that.
void* objc_storeWeak(void** place, void* object) {
    return *place = object;
}

void* objc_loadWeakRetained(void** place) {
    return objc_retain(*place);
}

void objc_destroyWeak(void**) {}

int __gnustep_objcxx_personality_v0(int version, int actions, std::uint64_t type, void* exception,
                                    void* context) {
    return __gxx_personality_v0(version, actions, type, exception, context);
}

}  // extern "C"
