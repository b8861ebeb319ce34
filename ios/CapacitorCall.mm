#include "ios/CapacitorCall.hpp"

#include <utility>

#include "devices/apple/NSString.hpp"
#include "ios/JSValues.hpp"

// The runtime defines these in Swift. The header that declares them in Objective-C is generated when the
// runtime is built and, like Capacitor.h, cannot be included in Objective-C++ without C++ modules. So they
// are declared here. Only the selectors matter, and the runtime's `@objc` extension of the class fixes those.
@interface CAPPluginCall (Finishing)
- (void)resolve:(nonnull NSDictionary<NSString*, id>*)data;
// clang-format off
- (void)reject:(nonnull NSString*)message
              :(nullable NSString*)code
              :(nullable NSError*)error
              :(nullable NSDictionary<NSString*, id>*)data;
// clang-format on
@end

namespace KavrelCrypto {
namespace {

class CapacitorCall final : public CAPPluginCall {
  public:
    explicit CapacitorCall(::CAPPluginCall* call) : call_(call) {
        if (call.options != nil) {
            options_ = toJSObject(call.options);
        }
    }

    [[nodiscard]] const JSObject* options() const override {
        return options_.has_value() ? &*options_ : nullptr;
    }

    void resolve(JSObject result) override {
        [call_ resolve:toNSDictionary(result)];
    }

    void reject(std::string message, std::optional<std::string> code, std::optional<NSError> error,
                std::optional<JSObject> data) override {
        [call_ reject:toNSString(message)
                     :code.has_value() ? toNSString(*code) : nil
                     :error.has_value() ? toFoundationError(*error) : nil
                     :data.has_value() ? toNSDictionary(*data) : nil];
    }

  private:
    ::CAPPluginCall* const call_;
    std::optional<JSObject> options_;
};

}  // namespace

CAPPluginCallRef makeCapacitorCall(::CAPPluginCall* call) {
    return std::make_shared<CapacitorCall>(call);
}

}  // namespace KavrelCrypto
