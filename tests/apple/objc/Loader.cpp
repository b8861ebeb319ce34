// Lets Debian's libobjc, which is GCC's, load what Clang compiles with ARC. Clang writes a newer version of
// the same tables: the structures begin alike, but the version numbers differ, and instance sizes and places
// of instance variables count from the end of the superclass, for the runtime to add up. This adds them up
// and sets the numbers that libobjc wants. The tests are linked with --wrap=__objc_exec_class, which sends
// what Clang calls when a file is loaded here first.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace {

constexpr unsigned long libobjcsVersion = 8;
constexpr unsigned long libobjcsModuleSize = 32;
constexpr std::uintptr_t clangsProtocolVersion = 3;
constexpr std::uintptr_t libobjcsProtocolVersion = 2;
constexpr unsigned long newABIFlag = 0x10;

struct Protocol;

struct ProtocolList {
    ProtocolList* next;
    std::size_t count;
    Protocol* first[1];
};

struct Protocol {
    std::uintptr_t version;
    const char* name;
    ProtocolList* protocols;
};

struct InstanceVariable {
    const char* name;
    const char* type;
    int offset;
};

struct InstanceVariableList {
    int count;
    InstanceVariable first[1];
};

struct Class {
    Class* metaclass;
    const char* superclass;  // its name, until libobjc has loaded the class
    const char* name;
    long version;
    unsigned long info;
    long instanceSize;  // negative: without the superclass
    InstanceVariableList* instanceVariables;
    void* libobjcs[4];
    ProtocolList* protocols;
    void* unused[2];
    int** offsets;  // where compiled code looks the places of the instance variables up
};

struct Category {
    const char* name;
    const char* className;
    void* methods[2];
    ProtocolList* protocols;
};

struct Symbols {
    unsigned long selectorCount;
    void* selectors;
    unsigned short classCount;
    unsigned short categoryCount;
    void* definitions[1];
};

struct Module {
    unsigned long version;
    unsigned long size;
    const char* name;
    Symbols* symbols;
};

}  // namespace

extern "C" {
void __real___objc_exec_class(Module* module);
Class* objc_lookUpClass(const char* name);
}

namespace {

std::span<Class*> classesOf(const Module& module) {
    return {reinterpret_cast<Class**>(module.symbols->definitions), module.symbols->classCount};
}

std::span<Category*> categoriesOf(const Module& module) {
    return {reinterpret_cast<Category**>(module.symbols->definitions) + module.symbols->classCount,
            module.symbols->categoryCount};
}

void convert(ProtocolList* list) {
    for (; list != nullptr; list = list->next) {
        for (Protocol* protocol : std::span(list->first, list->count)) {
            if (protocol->version == clangsProtocolVersion) {
                protocol->version = libobjcsProtocolVersion;
                convert(protocol->protocols);
            }
        }
    }
}

void convert(Class& converted, long superclassSize) {
    converted.instanceSize = superclassSize - converted.instanceSize;
    if (converted.instanceVariables != nullptr) {
        const auto count = static_cast<std::size_t>(converted.instanceVariables->count);
        for (std::size_t index = 0; index < count; ++index) {
            int& offset = converted.instanceVariables->first[index].offset;
            offset += static_cast<int>(superclassSize);
            *converted.offsets[index] = offset;
        }
    }
    converted.info &= ~newABIFlag;
    converted.metaclass->info &= ~newABIFlag;
    convert(converted.protocols);
}

/// Whether every class has its superclass, in libobjc or earlier in the module.
bool canLoad(const Module& module) {
    std::vector<std::string> known;
    const std::span<Class*> classes = classesOf(module);
    return std::all_of(classes.begin(), classes.end(), [&](const Class* each) {
        known.emplace_back(each->name);
        return objc_lookUpClass(each->superclass) != nullptr ||
               std::find(known.begin(), known.end(), each->superclass) != known.end();
    });
}

void load(Module& module) {
    std::map<std::string, long> sizes;
    for (Class* each : classesOf(module)) {
        const auto earlier = sizes.find(each->superclass);
        convert(*each,
                earlier != sizes.end() ? earlier->second : objc_lookUpClass(each->superclass)->instanceSize);
        sizes[each->name] = each->instanceSize;
    }
    for (Category* category : categoriesOf(module)) {
        convert(category->protocols);
    }
    module.version = libobjcsVersion;
    module.size = libobjcsModuleSize;
    __real___objc_exec_class(&module);
}

}  // namespace

extern "C" {

void __wrap___objc_exec_class(Module* module) {
    // Files are loaded in no order to rely on, so one may have to wait for the superclass of its class.
    static auto& waiting = *new std::vector<Module*>;
    waiting.push_back(module);
    for (auto next = waiting.begin(); next != waiting.end();) {
        next =
            std::find_if(waiting.begin(), waiting.end(), [](const Module* each) { return canLoad(*each); });
        if (next != waiting.end()) {
            Module& loadable = **next;
            waiting.erase(next);
            load(loadable);
            next = waiting.begin();
        }
    }
}

// What libobjc and GNUstep keep for themselves until the process ends, and the order in which they lock each
// other, is not what the tests are about.
const char* __lsan_default_options() {
    return "print_suppressions=0";
}

const char* __lsan_default_suppressions() {
    return "leak:libobjc.so\nleak:libgnustep-base.so\n";
}

const char* __tsan_default_suppressions() {
    return "deadlock:libobjc.so\ndeadlock:libgnustep-base.so\n";
}

}  // extern "C"
