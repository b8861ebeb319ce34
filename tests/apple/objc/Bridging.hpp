#pragma once

namespace AppleStandIns {

/// Lets the CoreFoundation stand-ins take Objective-C objects, as CoreFoundation does.
void acceptObjectiveC();

}  // namespace AppleStandIns
