#include "Fakes/ObjectiveC.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

// Classes and messages. A class is linked to its superclass when the first message is sent, for the
// modules announce themselves in any order.
namespace maccheck {
namespace {

/// What the compiler's code takes the method from.
struct Slot {
    const Class* owner = nullptr;
    const Class* cachedFor = nullptr;
    const char* types = nullptr;
    int version = 0;
    Implementation implementation = nullptr;
};

struct Program {
    std::vector<Module*> modules;
    std::map<std::string, Class*> classes;
    std::set<const Class*> linked;
    std::map<std::pair<const Class*, const Selector*>, Slot> slots;
};

Program& program() {
    static Program all;
    return all;
}

[[noreturn]] void die(const std::string& text) {
    std::fprintf(stderr, "fake Objective-C: %s\n", text.c_str());
    std::abort();
}

void linkClass(Class* type) {
    if (!program().linked.insert(type).second) return;
    Class* superclass = nullptr;
    if (type->superclassName != nullptr) {
        const auto found = program().classes.find(type->superclassName);
        if (found == program().classes.end())
            die(std::string(type->name) + " has no superclass " + type->superclassName);
        superclass = found->second;
        linkClass(superclass);
    }
    type->superclass = superclass;
    type->metaclass->superclass = superclass == nullptr ? type : superclass->metaclass;
    const long inherited = superclass == nullptr ? 0 : (superclass->instanceSize + 7) / 8 * 8;
    type->instanceSize = inherited - std::min(type->instanceSize, 0L);
    const int count = type->variables == nullptr ? 0 : type->variables->count;
    for (int i = 0; i < count; ++i) {
        Variable* const all = type->variables->variables;
        all[i].offset += static_cast<int>(inherited);
        *type->offsets[i] += static_cast<int>(inherited);
    }
}

void append(MethodList*& methods, MethodList* more) {
    if (more == nullptr) return;
    MethodList** last = &more->next;
    while (*last != nullptr)
        last = &(*last)->next;
    *last = std::exchange(methods, more);
}

/// Links what has been announced since the last time.
void linkModules() {
    if (program().modules.empty()) return;
    std::vector<Module*> modules = std::exchange(program().modules, {});
    for (const Module* module : modules) {
        void** const definitions = module->symbols->definitions;
        for (int i = 0; i < module->symbols->classCount; ++i) {
            auto* const type = static_cast<Class*>(definitions[i]);
            program().classes[type->name] = type;
        }
    }
    for (const Module* module : modules) {
        void** const definitions = module->symbols->definitions + module->symbols->classCount;
        for (int i = 0; i < module->symbols->categoryCount; ++i) {
            auto* const category = static_cast<Category*>(definitions[i]);
            const auto type = program().classes.find(category->className);
            if (type == program().classes.end())
                continue;  // the compiler's own holder of protocols
            append(type->second->methods, category->methods);
            append(type->second->metaclass->methods, category->classMethods);
        }
    }
    for (const auto& [name, type] : program().classes)
        linkClass(type);
}

Slot* nilSlot() {
    static Slot slot{.implementation = reinterpret_cast<Implementation>(
                         +[](Object*, const Selector*) -> Object* { return nullptr; })};
    return &slot;
}

Slot* find(const Object* receiver, const Class* type, const Selector* selector) {
    Slot& slot = program().slots[{type, selector}];
    for (const Class* at = type; slot.implementation == nullptr; at = at->superclass) {
        if (at == nullptr)
            die(std::string(isClass(receiver) ? "+[" : "-[") + type->name + ' ' + selector->name +
                "] is not there");
        if (const Method* const method = ownMethod(at, selector->name))
            slot = {at, type, method->types, 0, method->implementation};
    }
    if (selector->types != nullptr && std::strcmp(selector->types, slot.types) != 0)
        die(std::string(type->name) + ' ' + selector->name + " is sent as " + selector->types +
            " and taken as " + slot.types);
    return &slot;
}

}  // namespace

bool isClass(const Object* object) {
    constexpr unsigned long kMetaclass = 2;
    return object->isa != nullptr && (object->isa->flags & kMetaclass) != 0;
}

bool isKindOf(const Class* type, const char* className) {
    while (type != nullptr && std::strcmp(type->name, className) != 0)
        type = type->superclass;
    return type != nullptr;
}

const Method* ownMethod(const Class* type, const char* name) {
    for (const MethodList* list = type->methods; list != nullptr; list = list->next) {
        const Method* const end = list->methods + list->count;
        const Method* const found = std::find_if(list->methods, end, [&](const Method& method) {
            return std::strcmp(method.name, name) == 0;
        });
        if (found != end) return found;
    }
    return nullptr;
}

}  // namespace maccheck

extern "C" {

using maccheck::Class;
using maccheck::Module;
using maccheck::Object;
using maccheck::Selector;
using maccheck::Slot;

struct Super {
    Object* receiver;
    Class* superclass;
};

void __objc_exec_class(Module* module);
Class* objc_lookup_class(const char* name);
Slot* objc_msg_lookup_sender(Object** receiver, const Selector* selector, Object* sender);
Slot* objc_slot_lookup_super(const Super* super, const Selector* selector);

void __objc_exec_class(Module* module) {
    maccheck::program().modules.push_back(module);
}

Class* objc_lookup_class(const char* name) {
    maccheck::linkModules();
    const auto found = maccheck::program().classes.find(name);
    if (found == maccheck::program().classes.end()) maccheck::die(std::string("no class ") + name);
    return found->second;
}

Slot* objc_msg_lookup_sender(Object** receiver, const Selector* selector, Object*) {
    if (*receiver == nullptr) return maccheck::nilSlot();
    maccheck::linkModules();
    return maccheck::find(*receiver, (*receiver)->isa, selector);
}

Slot* objc_slot_lookup_super(const Super* super, const Selector* selector) {
    return maccheck::find(super->receiver, super->superclass, selector);
}

}  // extern "C"
