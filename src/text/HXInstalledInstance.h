#pragma once

// The one installed implementation of an interface `T` that lower layers call
// without depending on the layer that implements it (the response store, the
// completion store, the document controller). Null until one is installed.
// Main thread only.
template <typename T>
class HXInstalledInstance
{
public:
    static T *get() { return s_instance; }
    static void set(T *instance) { s_instance = instance; }

private:
    static inline T *s_instance = nullptr;
};
