// Version, platform and symbol-visibility macros that every header of this interface builds on.
#ifndef CPPMICROSERVICES_GLOBALCONFIG_H
#define CPPMICROSERVICES_GLOBALCONFIG_H

#define US_BUILD_SHARED_LIBS
#define US_ENABLE_THREADING_SUPPORT

// The release whose interface is implemented.
#define CppMicroServices_VERSION_MAJOR 3
#define CppMicroServices_VERSION_MINOR 8
#define CppMicroServices_VERSION_PATCH 12
#define CppMicroServices_VERSION 3.8.12
#define CppMicroServices_VERSION_STR "3.8.12"

#define US_VERSION_MAJOR 3
#define US_VERSION_MINOR 8
#define US_VERSION_PATCH 12
#define US_VERSION 3.8.12
#define US_VERSION_STR "3.8.12"

#define US_PLATFORM_POSIX
#if defined(__APPLE__)
#define US_PLATFORM_APPLE
#define US_LIB_EXT ".dylib"
#else
#define US_PLATFORM_LINUX
#define US_LIB_EXT ".so"
#endif
#define US_LIB_PREFIX "lib"
#define US_LIB_POSTFIX ""
#define US_EXE_EXT ""

#define US_ABI_EXPORT __attribute__((visibility("default")))
#define US_ABI_IMPORT __attribute__((visibility("default")))
#define US_ABI_LOCAL __attribute__((visibility("hidden")))

#define US_DEPRECATED __attribute__((deprecated))
#define US_UNUSED(x) (void)(x)

// Switch a warning off and on again; `wn` is its number or its name without "-W". One compiler's macros say
// nothing to the other.
#define US_MSVC_PUSH_DISABLE_WARNING(wn)
#define US_MSVC_DISABLE_WARNING(wn)
#define US_MSVC_POP_WARNING
#define us_gcc_pragma_expand(x) _Pragma(#x)
#define US_GCC_PUSH_DISABLE_WARNING(wn)                                                                      \
    _Pragma("GCC diagnostic push") us_gcc_pragma_expand(GCC diagnostic ignored "-W" #wn)
#define US_GCC_POP_WARNING _Pragma("GCC diagnostic pop")

// Opens and closes a specialisation of std::hash; the function body stands between the two and uses `arg`.
#define US_HASH_FUNCTION_BEGIN(type)                                                                         \
    namespace std {                                                                                          \
    template <>                                                                                              \
    struct hash<type> {                                                                                      \
        std::size_t operator()(type const& arg) const {
#define US_HASH_FUNCTION_END                                                                                 \
    }                                                                                                        \
    }                                                                                                        \
    ;                                                                                                        \
    }

#define US_STR_(x) #x
#define US_STR(x) US_STR_(x)
#define US_CONCAT_(x, y) x##y
#define US_CONCAT(x, y) US_CONCAT_(x, y)

// Names of the symbols through which a bundle's library and the framework find each other; the bundle's
// symbolic name is appended.
#define US_GET_CTX_PREFIX _us_get_bundle_context_instance_
#define US_SET_CTX_PREFIX _us_set_bundle_context_instance_
#define US_CTX_INS_PREFIX _us_bundle_context_instance_
#define US_GET_CTX_FUNC(bsn) US_CONCAT(US_GET_CTX_PREFIX, bsn)
#define US_SET_CTX_FUNC(bsn) US_CONCAT(US_SET_CTX_PREFIX, bsn)
#define US_CTX_INS(bsn) US_CONCAT(US_CTX_INS_PREFIX, bsn)

#define US_CREATE_ACTIVATOR_PREFIX _us_create_activator_
#define US_DESTROY_ACTIVATOR_PREFIX _us_destroy_activator_
#define US_CREATE_ACTIVATOR_FUNC(bsn) US_CONCAT(US_CREATE_ACTIVATOR_PREFIX, bsn)
#define US_DESTROY_ACTIVATOR_FUNC(bsn) US_CONCAT(US_DESTROY_ACTIVATOR_PREFIX, bsn)

#define US_FUTURE_READY std::future_status::ready
#define US_FUTURE_TIMEOUT std::future_status::timeout

#endif
