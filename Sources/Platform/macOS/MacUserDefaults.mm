#include "Platform/macOS/MacUserDefaults.h"

#include <Foundation/Foundation.h>

namespace tapwell {
namespace {

NSString* name(const std::string& key) {
    return [NSString stringWithUTF8String:key.c_str()];
}

}  // namespace

bool MacUserDefaults::boolForKey(const std::string& key) {
    @autoreleasepool {
        return [[NSUserDefaults standardUserDefaults] boolForKey:name(key)];
    }
}

void MacUserDefaults::setBool(bool value, const std::string& key) {
    @autoreleasepool {
        [[NSUserDefaults standardUserDefaults] setBool:value forKey:name(key)];
    }
}

}  // namespace tapwell
