# Language standard, warnings, visibility and sanitizers of everything that this project compiles.
# A target takes the warnings by linking spf-warnings privately; they never reach a consumer.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
endif()

find_program(SPF_CCACHE ccache)
mark_as_advanced(SPF_CCACHE)
if(SPF_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    # Only thus does ccache keep what is compiled with a precompiled header; ours has no __DATE__ or __TIME__ in it.
    set(CMAKE_CXX_COMPILER_LAUNCHER
        "${CMAKE_COMMAND}" -E env CCACHE_SLOPPINESS=pch_defines,time_macros "${SPF_CCACHE}")
endif()

find_package(Threads REQUIRED)

add_library(spf-warnings INTERFACE)
target_compile_options(spf-warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow $<$<BOOL:${SPF_WERROR}>:-Werror>)

if(SPF_SANITIZE)
    add_compile_options("-fsanitize=${SPF_SANITIZE}" -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options("-fsanitize=${SPF_SANITIZE}")
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        # Instrumented code hides from g++ what has been initialised: it warns of std::regex itself.
        target_compile_options(spf-warnings INTERFACE -Wno-maybe-uninitialized)
    endif()
    if(SPF_SANITIZE MATCHES thread)
        # ThreadSanitizer does not know fences; Asio's handlers are ordered by the mutex of its queue without them.
        add_compile_definitions(BOOST_ASIO_DISABLE_FENCED_BLOCK)
    endif()
endif()
