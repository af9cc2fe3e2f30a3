// Keeps a library in memory whose code, texts or functions are still in use after it is unloaded.
#ifndef MTLLIB_PLATFORM_STAY_LOADED_H_
#define MTLLIB_PLATFORM_STAY_LOADED_H_

namespace Platform {

/// Keeps the library that this is linked into loaded until the process ends, however often the
/// host unloads it. Not for DllMain or static constructors. Outside of Windows the linker's
/// -z nodelete does it, and this does nothing.
void stayLoaded();

}  // namespace Platform

#endif  // MTLLIB_PLATFORM_STAY_LOADED_H_
