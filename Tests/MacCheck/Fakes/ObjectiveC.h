#pragma once

namespace maccheck {

// What the compiler lays down for a program of -fobjc-runtime=gnustep-1.9; the names of the members
// are ours. Sources/Platform/macOS and the fakes of the system's classes are compiled for it, and
// ObjectiveC*.cpp are the part of a runtime that they need.

using Implementation = void (*)();

struct Selector {
    const char* name;
    const char* types;
};

struct Method {
    const char* name;
    const char* types;
    Implementation implementation;
};

struct MethodList {
    MethodList* next;
    int count;
    Method methods[1];  ///< `count` of them
};

struct Variable {
    const char* name;
    const char* types;
    int offset;  ///< of its own class's first byte, until the class is linked
};

struct VariableList {
    int count;
    Variable variables[1];  ///< `count` of them
};

struct Class {
    Class* metaclass;
    union {
        const char* superclassName;  ///< until the class is linked; null of a root
        Class* superclass;
    };
    const char* name;
    long version;
    unsigned long flags;
    long instanceSize;  ///< negative and without the superclass's, until the class is linked
    VariableList* variables;
    MethodList* methods;
    void* dispatchTable;
    Class* subclasses;
    Class* siblings;
    void* protocols;
    void* extra;
    long abiVersion;
    int** offsets;  ///< of the variables once more
    void* properties;
    long strongVariables;
    long weakVariables;
};

struct Category {
    const char* name;
    const char* className;
    MethodList* methods;
    MethodList* classMethods;
    void* protocols;
};

struct Symbols {
    long selectorCount;
    Selector* selectors;
    unsigned short classCount;
    unsigned short categoryCount;
    void* definitions[1];  ///< the classes, then the categories
};

struct Module {
    long version;
    long size;
    const char* name;
    Symbols* symbols;
};

/// Of an object's memory; a class is an object too.
struct Object {
    Class* isa;
};

bool isClass(const Object* object);
bool isKindOf(const Class* type, const char* className);
/// The class's own method of that name, not an inherited one; null when it has none.
const Method* ownMethod(const Class* type, const char* name);

/// A new object, zeroed and with its C++ members made, that the caller owns.
Object* createInstance(Class* type);

/// Releases what code outside any pool has left.
void emptyPools();

}  // namespace maccheck
