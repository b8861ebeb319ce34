#pragma once

// The functions of the Objective-C runtime that Foundation's headers and the tests use.

#include <objc/objc.h>

#ifdef __cplusplus
extern "C" {
#endif

Class object_getClass(id object);
Class objc_getClass(const char* name);
Class objc_lookUpClass(const char* name);
const char* class_getName(Class class_);
Class class_getSuperclass(Class class_);
BOOL class_respondsToSelector(Class class_, SEL selector);
id class_createInstance(Class class_, size_t extraBytes);
Method class_getInstanceMethod(Class class_, SEL selector);
Method class_getClassMethod(Class class_, SEL selector);
IMP class_getMethodImplementation(Class class_, SEL selector);
IMP method_setImplementation(Method method, IMP implementation);
Ivar* class_copyIvarList(Class class_, unsigned* count);
const char* ivar_getName(Ivar ivar);
SEL sel_getUid(const char* name);
SEL sel_registerName(const char* name);
const char* sel_getName(SEL selector);
BOOL sel_isEqual(SEL left, SEL right);

#ifdef __cplusplus
}
#endif
