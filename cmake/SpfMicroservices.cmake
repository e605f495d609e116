# Chooses the provider of the CppMicroServices interface and offers it as the target spf::microservices.
#
# SPF_MICROSERVICES is auto, installed or standalone. `installed` is a CppMicroServices 3.8 that find_package() finds;
# `standalone` is the implementation in standalone/cppmicroservices; `auto` takes the first if it is there.
# Afterwards SPF_MICROSERVICES_PROVIDER is `installed` or `standalone`, also for a project that has this one as a
# subdirectory: spf_add_bundle() is called there, too.

if(NOT SPF_MICROSERVICES MATCHES "^(auto|installed|standalone)$")
    message(FATAL_ERROR "SPF_MICROSERVICES is '${SPF_MICROSERVICES}'; it must be auto, installed or standalone")
endif()

set(provider standalone)
if(NOT SPF_MICROSERVICES STREQUAL standalone)
    find_package(CppMicroServices 3.8 QUIET COMPONENTS Framework usAsyncWorkService ConfigurationAdmin)
    if(CppMicroServices_FOUND)
        set(provider installed)
    elseif(SPF_MICROSERVICES STREQUAL installed)
        message(FATAL_ERROR "SPF_MICROSERVICES=installed, but find_package(CppMicroServices 3.8) found none; "
            "set CMAKE_PREFIX_PATH to its installation or use SPF_MICROSERVICES=standalone")
    endif()
endif()
set(SPF_MICROSERVICES_PROVIDER ${provider} CACHE INTERNAL "The provider that was chosen")

if(SPF_MICROSERVICES_PROVIDER STREQUAL installed)
    add_library(spf-microservices INTERFACE)
    target_link_libraries(spf-microservices INTERFACE CppMicroServices)
    add_library(spf::microservices ALIAS spf-microservices)
    spf_install_target(spf-microservices library microservices)
    message(STATUS "CppMicroServices provider: installed ${CppMicroServices_VERSION} (${CppMicroServices_DIR})")
else()
    add_subdirectory("${PROJECT_SOURCE_DIR}/standalone/cppmicroservices"
        "${PROJECT_BINARY_DIR}/standalone/cppmicroservices")
    message(STATUS "CppMicroServices provider: standalone (standalone/cppmicroservices)")
endif()
