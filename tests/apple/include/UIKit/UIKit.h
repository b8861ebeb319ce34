#pragma once

// The declarations of UIKit that Capacitor's base class uses.

#include <Foundation/Foundation.h>

typedef NSPoint CGPoint;
typedef NSSize CGSize;
typedef NSRect CGRect;
#define CGRectMake NSMakeRect

@interface UIView : NSObject
@property (nonatomic) CGPoint center;
@end

@interface UIPopoverPresentationController : NSObject
@property (nonatomic) CGRect sourceRect;
@property (nonatomic, strong) UIView* sourceView;
@property (nonatomic) NSUInteger permittedArrowDirections;
@end

@interface UIViewController : NSObject
@property (nonatomic, strong) UIView* view;
@property (nonatomic) CGSize preferredContentSize;
@property (nonatomic, readonly) UIPopoverPresentationController* popoverPresentationController;
@end
