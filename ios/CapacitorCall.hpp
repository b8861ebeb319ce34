#pragma once

#import <Capacitor/CAPPluginCall.h>

#include "platform/Capacitor.hpp"

namespace KavrelCrypto {

/// The page's call as the component takes it. It holds on to `call` until the component lets go of it, which
/// is what keeps a pending call alive: the runtime forgets a call as soon as its entry point returns. (The
/// call's own `keepAlive` is for calls that are answered more than once.)
CAPPluginCallRef makeCapacitorCall(::CAPPluginCall* call);

}  // namespace KavrelCrypto
