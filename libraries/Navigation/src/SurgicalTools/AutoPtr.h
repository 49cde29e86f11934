#pragma once

#include <memory>

/// Brackets a declaration or definition that names std::auto_ptr. It stays in the public interface because callers pass
/// and receive it; its deprecation is known in these places and in no others.
#if defined(_MSC_VER)
#define TBR_AUTO_PTR_BEGIN __pragma(warning(push)) __pragma(warning(disable : 4996))
#define TBR_AUTO_PTR_END __pragma(warning(pop))
#else
#define TBR_AUTO_PTR_BEGIN                                                                                             \
    _Pragma("GCC diagnostic push") _Pragma("GCC diagnostic ignored \"-Wdeprecated-declarations\"")
#define TBR_AUTO_PTR_END _Pragma("GCC diagnostic pop")
#endif
