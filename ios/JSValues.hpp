#pragma once

#import <Foundation/Foundation.h>
#include <string>

#include "platform/Capacitor.hpp"

/// The values of calls and results, between the page's side (Foundation objects) and the component's.
namespace KavrelCrypto {

/// The map of a call's arguments. Booleans, whole numbers, other numbers, texts, arrays, maps and NSNull
/// become what they are; anything else becomes null. In a text an unpaired surrogate becomes U+FFFD. Maps and
/// arrays that lie deeper than 64 levels are handed over empty.
JSObject objectOf(NSDictionary* dictionary);

/// A result for the page: a boolean is a boolean number there, null is NSNull. Texts are UTF-8.
NSDictionary<NSString*, id>* dictionaryOf(const JSObject& object);

NSString* stringOf(const std::string& utf8);

::NSError* errorOf(const NSError& error);

}  // namespace KavrelCrypto
