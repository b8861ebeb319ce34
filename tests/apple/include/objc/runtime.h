#pragma once

// The functions of the Objective-C runtime that the tests use.

#include <objc/objc.h>

#ifdef __cplusplus
extern "C" {
#endif

Class objc_lookUpClass(const char* name);
Method class_getInstanceMethod(Class class_, SEL selector);
IMP method_setImplementation(Method method, IMP implementation);
Ivar* class_copyIvarList(Class class_, unsigned* count);
const char* ivar_getName(Ivar ivar);
IMP objc_msg_lookup(id receiver, SEL selector);
SEL sel_registerName(const char* name);

#ifdef __cplusplus
}
#endif
