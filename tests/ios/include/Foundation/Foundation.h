#pragma once

// A stand-in for Foundation: the declarations that the plugin class, the Apple device and Capacitor's headers
// use, as Apple documents them.

#include <CoreFoundation/CoreFoundation.h>
#include <objc/NSObjCRuntime.h>
#include <objc/NSObject.h>

#define NS_ENUM(type, name) \
    enum name : type name;  \
    enum name : type
#define NS_ASSUME_NONNULL_BEGIN _Pragma("clang assume_nonnull begin")
#define NS_ASSUME_NONNULL_END _Pragma("clang assume_nonnull end")
#define NS_SWIFT_NAME(name) __attribute__((swift_name(#name)))
#define FOUNDATION_EXPORT extern
#define DEPRECATED_MSG_ATTRIBUTE(message) __attribute__((deprecated(message)))

#ifdef __cplusplus
extern "C" {
#endif

typedef struct {
    double x, y;
} NSPoint;
typedef struct {
    double width, height;
} NSSize;
typedef struct {
    NSPoint origin;
    NSSize size;
} NSRect;
static inline NSRect NSMakeRect(double x, double y, double width, double height) {
    const NSRect rect = {{x, y}, {width, height}};
    return rect;
}

typedef unsigned short unichar;
typedef NSUInteger NSStringEncoding;
typedef struct {
    unsigned long state;
    id __unsafe_unretained _Nullable* _Nullable itemsPtr;
    unsigned long* _Nullable mutationsPtr;
    unsigned long extra[5];
} NSFastEnumerationState;

NS_ASSUME_NONNULL_BEGIN

@protocol NSCopying
@end

@class NSError;
@class NSURLAuthenticationChallenge;
@class NSURLCredential;

@interface NSString : NSObject <NSCopying>
@property (readonly) NSUInteger length;
- (instancetype)initWithCharacters:(const unichar*)characters length:(NSUInteger)length;
- (void)getCharacters:(unichar*)buffer range:(CFRange)range;
@end

typedef NSString* NSErrorDomain;

@interface NSNumber : NSObject
@property (readonly) BOOL boolValue;
@property (readonly) double doubleValue;
@property (readonly) long long longLongValue;
@property (readonly) unsigned long long unsignedLongLongValue;
@property (readonly) const char* objCType;
+ (NSNumber*)numberWithBool:(BOOL)value;
+ (NSNumber*)numberWithDouble:(double)value;
+ (NSNumber*)numberWithLongLong:(long long)value;
@end

@interface NSNull : NSObject
+ (NSNull*)null;
@end

@interface NSDate : NSObject
@end

@interface NSURL : NSObject
@end

@interface NSArray<ObjectType> : NSObject <NSCopying>
@property (readonly) NSUInteger count;
- (ObjectType)objectAtIndex:(NSUInteger)index;
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(id __unsafe_unretained _Nullable* _Nonnull)buffer
                                    count:(NSUInteger)length;
@end

@interface NSMutableArray<ObjectType> : NSArray <ObjectType>
+ (instancetype)array;
+ (instancetype)arrayWithCapacity:(NSUInteger)capacity;
- (void)addObject:(ObjectType)object;
@end

@interface NSDictionary<KeyType, ObjectType> : NSObject <NSCopying>
@property (readonly) NSUInteger count;
@property (readonly, copy) NSArray<KeyType>* allKeys;
- (nullable ObjectType)objectForKey:(KeyType)key;
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(id __unsafe_unretained _Nullable* _Nonnull)buffer
                                    count:(NSUInteger)length;
@end

@interface NSMutableDictionary<KeyType, ObjectType> : NSDictionary <KeyType, ObjectType>
+ (instancetype)dictionary;
- (void)setObject:(ObjectType)object forKey:(KeyType)key;
@end

@interface NSError : NSObject
@property (readonly) NSInteger code;
@property (readonly, copy) NSErrorDomain domain;
@property (readonly, copy) NSString* localizedDescription;
+ (instancetype)errorWithDomain:(NSErrorDomain)domain
                           code:(NSInteger)code
                       userInfo:(nullable NSDictionary<NSString*, id>*)userInfo;
@end

FOUNDATION_EXPORT NSString* const NSLocalizedDescriptionKey;
CFTypeRef _Nullable CFBridgingRetain(id _Nullable object);

NS_ASSUME_NONNULL_END

#ifdef __cplusplus
}
#endif

typedef NS_ENUM(NSInteger, NSURLSessionAuthChallengeDisposition) {
    NSURLSessionAuthChallengeUseCredential = 0,
};
