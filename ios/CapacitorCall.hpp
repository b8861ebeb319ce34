#pragma once

#import <Capacitor/CAPPluginCall.h>

#include "platform/Capacitor.hpp"

namespace KavrelCrypto {

/// Returns a page's call as the component takes it. It holds on to `call`, and only that keeps a pending call
/// alive: the runtime forgets a call as soon as its entry point returns. (The call's own `keepAlive` is for
/// calls that are answered more than once.)
CAPPluginCallRef makeCapacitorCall(::CAPPluginCall* call);

}  // namespace KavrelCrypto
