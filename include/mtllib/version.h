/// @file
/// The version of mtllib that these headers belong to, as macros for C and C++.
///
/// `@since` in a header names the version that introduced it, and everything it declares unless a
/// declaration has a mark of its own.
///
/// @since 1.0
#ifndef MTLLIB_VERSION_H_
#define MTLLIB_VERSION_H_

#define MTLLIB_VERSION_MAJOR 1  ///< Changes only with what breaks hosts.
#define MTLLIB_VERSION_MINOR 0  ///< Rises when something is added.
#define MTLLIB_VERSION_PATCH 0  ///< Rises with fixes.
#define MTLLIB_VERSION "1.0.0"  ///< "MAJOR.MINOR.PATCH"

#endif  // MTLLIB_VERSION_H_
