#pragma once

#include <Foundation/Foundation.h>
#include <dispatch/dispatch.h>

#include <functional>
#include <string>

namespace maccheck {

/// What an object holds as text: "text", 55, 48000.0, [1, 2], {"name": 1}; nil.
std::string textOf(id object);

NSString* makeText(const std::string& text);

/// As the status of a call that is to fail: there is no error object.
constexpr OSStatus kWithoutError = -1;

/// The error of a call that a test lets fail: of the domain "Fake", described by what failed.
NSError* makeError(OSStatus code, const std::string& what);

/// Throws an NSException.
[[noreturn]] void raise(const std::string& reason);

/// Submits work to a queue, or to one of the system's own when it is null, which runs it in a pool.
void submit(dispatch_queue_t queue, std::function<void()> work);

}  // namespace maccheck

@interface NSObject (Fake)
/// For textOf.
- (void)appendTextTo:(std::string&)text;
@end

@interface NSURL (Fake)
- (NSString*)path;
@end

@interface NSOperationQueue (Fake)
- (dispatch_queue_t)underlyingQueue;
@end

@interface NSError (Fake)
/// A null description is none.
- (instancetype)initWithDomain:(const std::string&)domain
                          code:(NSInteger)code
                   description:(const std::string*)description;
@end
