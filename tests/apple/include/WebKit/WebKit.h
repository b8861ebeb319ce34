#pragma once

// The declarations of WebKit that Capacitor's base class uses.

#include <UIKit/UIKit.h>

@interface WKWebView : UIView
@end

@interface WKNavigationAction : NSObject
@end
