#pragma once

// Foundation, as far as the plug-in uses it: the platform's documented declarations. The runtime's
// own, NSObject and NSUInteger among them, come from its headers.

#import <CoreFoundation/CoreFoundation.h>
#import <objc/NSObject.h>
#import <objc/objc.h>

@class NSArray, NSDictionary, NSString;

typedef double NSTimeInterval;
typedef NSUInteger NSStringEncoding;
typedef NSString* NSAttributedStringKey;
typedef NSString* NSExceptionName;

typedef struct _NSRange {
    NSUInteger location;
    NSUInteger length;
} NSRange;

static inline NSRange NSMakeRange(NSUInteger loc, NSUInteger len) {
    NSRange range = {loc, len};
    return range;
}

#ifdef __cplusplus
extern "C" {
#endif

void NSLog(NSString* format, ...) __attribute__((format(__NSString__, 1, 2)));

#ifdef __cplusplus
}
#endif

typedef struct {
    unsigned long state;
    id* itemsPtr;
    unsigned long* mutationsPtr;
    unsigned long extra[5];
} NSFastEnumerationState;

@protocol NSFastEnumeration
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(id[])buffer
                                    count:(NSUInteger)len;
@end

@interface NSArray<ObjectType> : NSObject <NSFastEnumeration>
@end

@interface NSDictionary<KeyType, ObjectType> : NSObject
- (ObjectType)objectForKey:(KeyType)aKey;
@end

enum : NSStringEncoding { NSUTF8StringEncoding = 4 };

@interface NSString : NSObject
@property(readonly) const char* UTF8String;
+ (instancetype)stringWithFormat:(NSString*)format, ...;
- (instancetype)initWithBytes:(const void*)bytes
                       length:(NSUInteger)len
                     encoding:(NSStringEncoding)encoding;
@end

@interface NSAttributedString : NSObject
- (instancetype)initWithString:(NSString*)str;
@end

@interface NSMutableAttributedString : NSAttributedString
- (void)beginEditing;
- (void)endEditing;
- (void)addAttribute:(NSAttributedStringKey)name value:(id)value range:(NSRange)range;
@end

@interface NSValue : NSObject
@end

@interface NSNumber : NSValue
@property(readonly) unsigned int unsignedIntValue;
+ (NSNumber*)numberWithInt:(int)value;
@end

@interface NSURL : NSObject
+ (instancetype)URLWithString:(NSString*)URLString;
@end

@interface NSBundle : NSObject
+ (NSBundle*)bundleForClass:(Class)aClass;
- (NSString*)localizedStringForKey:(NSString*)key value:(NSString*)value table:(NSString*)tableName;
@end

__attribute__((__objc_exception__))
@interface NSException : NSObject
@property(readonly, copy) NSExceptionName name;
@property(readonly, copy) NSString* reason;
@end

@interface NSThread : NSObject
+ (void)sleepForTimeInterval:(NSTimeInterval)ti;
@end
