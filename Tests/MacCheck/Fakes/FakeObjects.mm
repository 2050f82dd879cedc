#include "Fakes/FakeObjects.h"

#include "Fakes/FakeSystem.h"
#include "Fakes/ObjectiveC.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <utility>

@implementation NSObject
+ (instancetype)alloc {
    auto* const type = static_cast<maccheck::Class*>((__bridge void*)self);
    return (__bridge_transfer id) static_cast<void*>(maccheck::createInstance(type));
}
- (instancetype)init {
    return self;
}
@end

@implementation NSObject (Fake)
- (void)appendTextTo:(std::string&)text {
    text += static_cast<const maccheck::Object*>((__bridge void*)self)->isa->name;
}
@end

// Of strings made at run time.
@interface FakeString : NSString {
@public
    std::string text_;
}
@end

@implementation NSString
+ (instancetype)stringWithUTF8String:(const char*)text {
    const std::string all = text;
    if (all.find('\xFF') != std::string::npos) return nil;  // as in no UTF-8
    return maccheck::makeText(all);
}
- (const char*)UTF8String {
    return nullptr;
}
- (void)appendTextTo:(std::string&)text {
    text += std::string("\"") + self.UTF8String + '"';
}
@end

@implementation FakeString
- (const char*)UTF8String {
    return text_.c_str();
}
@end

@implementation NSSimpleCString
@end

// As the compiler lays down a literal.
@implementation NSConstantString {
    const char* bytes_;
    unsigned int count_;
}
- (const char*)UTF8String {
    return bytes_;
}
@end

@interface NSNumber () {
@public
    std::string text_;
}
@end

namespace {

NSNumber* makeNumber(std::string text) {
    NSNumber* number = [[NSNumber alloc] init];
    number->text_ = std::move(text);
    return number;
}

}  // namespace

@implementation NSNumber
+ (NSNumber*)numberWithUnsignedInt:(unsigned int)value {
    return makeNumber(std::to_string(value));
}
+ (NSNumber*)numberWithLongLong:(long long)value {
    return makeNumber(std::to_string(value));
}
+ (NSNumber*)numberWithDouble:(double)value {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", value);
    return makeNumber(text);
}
- (void)appendTextTo:(std::string&)text {
    text += text_;
}
@end

@interface NSArray () {
@public
    std::vector<id> objects_;
}
@end

@implementation NSArray
+ (instancetype)array {
    return [[self alloc] init];
}
- (void)appendTextTo:(std::string&)text {
    text += '[';
    for (id object : objects_)
        text += (object == objects_.front() ? "" : ", ") + maccheck::textOf(object);
    text += ']';
}
@end

@implementation NSMutableArray
- (void)addObject:(id)object {
    if (object == nil) maccheck::raise("nil in an array");
    objects_.push_back(object);
}
@end

@implementation NSDictionary {
    std::map<std::string, std::pair<id, id>> entries_;
}
+ (instancetype)dictionaryWithObjects:(const id[])values
                              forKeys:(const id<NSCopying>[])keys
                                count:(NSUInteger)count {
    NSDictionary* dictionary = [[self alloc] init];
    for (NSUInteger i = 0; i < count; ++i) {
        if (values[i] == nil || keys[i] == nil) maccheck::raise("nil in a dictionary");
        dictionary->entries_[maccheck::textOf(keys[i])] = {keys[i], values[i]};
    }
    return dictionary;
}
- (void)appendTextTo:(std::string&)text {
    text += '{';
    for (const auto& [name, entry] : entries_)
        text += (name == entries_.begin()->first ? "" : ", ") + name + ": " +
                maccheck::textOf(entry.second);
    text += '}';
}
@end

@implementation NSUUID {
    std::string text_;
}
- (instancetype)initWithUUIDString:(NSString*)text {
    const std::string all = text.UTF8String;
    if (all.size() != 36 || std::count(all.begin(), all.end(), '-') != 4) return nil;
    text_ = all;
    return self;
}
- (void)appendTextTo:(std::string&)text {
    text += text_;
}
@end

@implementation NSURL {
    NSString* path_;
}
+ (NSURL*)fileURLWithPath:(NSString*)path {
    if (path == nil) maccheck::raise("nil as a path");
    NSURL* url = [[NSURL alloc] init];
    url->path_ = path;
    return url;
}
- (NSString*)path {
    return path_;
}
- (void)appendTextTo:(std::string&)text {
    text += std::string("file://") + path_.UTF8String;
}
@end

@implementation NSError {
    NSString* domain_;
    NSInteger code_;
    NSString* description_;
}
- (instancetype)initWithDomain:(const std::string&)domain
                          code:(NSInteger)code
                   description:(const std::string*)description {
    domain_ = maccheck::makeText(domain);
    code_ = code;
    if (description != nullptr) description_ = maccheck::makeText(*description);
    return self;
}
- (NSString*)domain {
    return domain_;
}
- (NSInteger)code {
    return code_;
}
- (NSString*)localizedDescription {
    return description_;
}
@end

@implementation NSException {
@public
    std::string reason_;
}
- (void)appendTextTo:(std::string&)text {
    text += reason_;
}
@end

namespace {

struct Queue {
    dispatch_queue_t native = dispatch_queue_create("", DISPATCH_QUEUE_SERIAL);
    ~Queue() { dispatch_release(native); }
};

}  // namespace

@implementation NSOperationQueue {
    Queue queue_;
    NSString* name_;
}
@synthesize maxConcurrentOperationCount = maxConcurrentOperationCount_;

- (instancetype)init {
    maxConcurrentOperationCount_ = -1;  // as many as the system thinks fit
    return self;
}
- (NSString*)name {
    return name_;
}
- (void)setName:(NSString*)name {
    name_ = name;
}
- (dispatch_queue_t)underlyingQueue {
    return queue_.native;
}
- (void)appendTextTo:(std::string&)text {
    text += maccheck::textOf(name_) + " of " + std::to_string(maxConcurrentOperationCount_);
}
@end

@implementation NSUserDefaults
+ (NSUserDefaults*)standardUserDefaults {
    return [[NSUserDefaults alloc] init];
}
- (BOOL)boolForKey:(NSString*)key {
    return maccheck::FakeSystem::get().defaults[key.UTF8String];
}
- (void)setBool:(BOOL)value forKey:(NSString*)key {
    maccheck::FakeSystem::get().defaults[key.UTF8String] = value;
}
@end

@implementation NSLocale {
    NSString* identifier_;
}
- (instancetype)initWithLocaleIdentifier:(NSString*)identifier {
    identifier_ = identifier;
    return self;
}
- (void)appendTextTo:(std::string&)text {
    text += maccheck::textOf(identifier_);
}
@end

namespace maccheck {

std::string textOf(id object) {
    if (object == nil) return "nil";
    std::string text;
    [object appendTextTo:text];
    return text;
}

NSString* makeText(const std::string& text) {
    FakeString* string = [[FakeString alloc] init];
    string->text_ = text;
    return string;
}

NSError* makeError(OSStatus code, const std::string& what) {
    const std::string description = what + " failed";
    return [[NSError alloc] initWithDomain:"Fake" code:code description:&description];
}

void raise(const std::string& reason) {
    NSException* exception = [[NSException alloc] init];
    exception->reason_ = reason;
    @throw exception;
}

void submit(dispatch_queue_t queue, std::function<void()> work) {
    const dispatch_queue_t own = dispatch_queue_create("", DISPATCH_QUEUE_SERIAL);
    dispatch_async_f(queue == nullptr ? own : queue, new std::function<void()>(std::move(work)),
                     [](void* context) {
                         @autoreleasepool {
                             const std::unique_ptr<std::function<void()>> owned(
                                 static_cast<std::function<void()>*>(context));
                             (*owned)();
                         }
                     });
    dispatch_release(own);
}

}  // namespace maccheck
