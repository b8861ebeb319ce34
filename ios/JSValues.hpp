#pragma once

#import <Foundation/Foundation.h>

#include "platform/Capacitor.hpp"

/// The values of calls and results, between the page's side (Foundation objects) and the component's.
namespace KavrelCrypto {

/// Returns the map of a call's arguments. Booleans, whole numbers, other numbers, strings, arrays, maps and
/// NSNull become what they are; anything else becomes null. Maps and arrays deeper than 64 levels arrive
/// empty.
JSObject toJSObject(NSDictionary* dictionary);

/// Returns a result for the page. A boolean becomes a boolean NSNumber, and null becomes NSNull.
NSDictionary<NSString*, id>* toNSDictionary(const JSObject& object);

/// Returns the error with its domain, its code and its user info.
::NSError* toFoundationError(const NSError& error);

}  // namespace KavrelCrypto
