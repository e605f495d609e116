# spf_add_bundle(<target>
#     MANIFEST <manifest.json>        # its "bundle.symbolic_name" names the bundle and must be a C identifier
#     SOURCES <source>...
#     [OUTPUT_DIRECTORY <directory>]  # default: the current binary directory
#     [LIBRARIES <target>...])
#
# Builds a CppMicroServices bundle, a shared library that carries its manifest, with the chosen provider. Programs that
# call GetBundleContext() themselves are bundles too: see spf_make_bundle().

# Gives the existing shared library or program <target> the manifest <manifest.json>.
function(spf_make_bundle target manifest)
    get_filename_component(manifest "${manifest}" ABSOLUTE)
    spf_read_symbolic_name(symbolic_name ${target} "${manifest}")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${manifest}")
    target_compile_definitions(${target} PRIVATE US_BUNDLE_NAME=${symbolic_name})
    target_link_libraries(${target} PRIVATE spf::microservices)
    set_target_properties(${target} PROPERTIES US_BUNDLE_NAME ${symbolic_name})
    spf_prepare_program_as_bundle(${target})
    if(SPF_MICROSERVICES_PROVIDER STREQUAL installed)
        spf_make_installed_bundle(${target} "${manifest}" ${symbolic_name})
    else()
        spf_make_standalone_bundle(${target} "${manifest}" ${symbolic_name})
    endif()
endfunction()

# The symbolic name in the manifest of <target>. Stops where a bundle would be built that cannot be used.
function(spf_read_symbolic_name variable target manifest)
    if(NOT EXISTS "${manifest}" OR IS_DIRECTORY "${manifest}")
        message(FATAL_ERROR "The manifest of ${target} is no file: ${manifest}")
    endif()
    file(READ "${manifest}" text)
    string(JSON type ERROR_VARIABLE error TYPE "${text}" "bundle.symbolic_name")
    if(error)
        message(FATAL_ERROR "The manifest of ${target}, ${manifest}: ${error}")
    endif()
    string(JSON name GET "${text}" "bundle.symbolic_name")
    if(NOT type STREQUAL STRING OR NOT name MATCHES "^[A-Za-z_][A-Za-z_0-9]*$")
        message(FATAL_ERROR "The manifest of ${target}, ${manifest}: bundle.symbolic_name is '${name}', of type ${type}; "
            "it must be a STRING that is a C identifier")
    endif()
    set(${variable} ${name} PARENT_SCOPE)
endfunction()

# A program as a bundle: the framework finds the functions of the bundle initialisation among the program's dynamic
# symbols, and the generated files lie in a directory of the target's name, which the program itself must not take.
function(spf_prepare_program_as_bundle target)
    get_target_property(type ${target} TYPE)
    if(NOT type STREQUAL EXECUTABLE)
        return()
    endif()
    set_target_properties(${target} PROPERTIES ENABLE_EXPORTS ON)
    get_target_property(directory ${target} RUNTIME_OUTPUT_DIRECTORY)
    if(NOT directory)
        set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}/bin")
    endif()
endfunction()

function(spf_add_bundle target)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "MANIFEST;OUTPUT_DIRECTORY" "SOURCES;LIBRARIES")
    if(NOT arg_MANIFEST)
        message(FATAL_ERROR "spf_add_bundle(${target}): MANIFEST is missing")
    endif()
    if(arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "spf_add_bundle(${target}): unknown arguments: ${arg_UNPARSED_ARGUMENTS}")
    endif()
    add_library(${target} SHARED ${arg_SOURCES})
    spf_make_bundle(${target} "${arg_MANIFEST}")
    target_link_libraries(${target} PRIVATE ${arg_LIBRARIES})
    set_target_properties(${target} PROPERTIES PREFIX "")
    if(arg_OUTPUT_DIRECTORY)
        set_target_properties(${target} PROPERTIES LIBRARY_OUTPUT_DIRECTORY "${arg_OUTPUT_DIRECTORY}")
    endif()
endfunction()

# With the installed provider: its own functions generate the initialisation and embed the manifest, linked where the linker
# can, for what is appended does not survive stripping. They read variables of their package, which are known only where it
# was found: not in a project that has this one as a subdirectory.
function(spf_make_installed_bundle target manifest symbolic_name)
    find_package(CppMicroServices 3.8 QUIET REQUIRED COMPONENTS Framework)
    usFunctionGenerateBundleInit(TARGET ${target} OUT generated)
    set(mode APPEND)
    if(US_RESOURCE_LINKING_AVAILABLE)
        set(mode LINK)
    endif()
    usFunctionGetResourceSource(TARGET ${target} OUT generated ${mode})
    target_sources(${target} PRIVATE ${generated})
    set(directory "${CMAKE_CURRENT_BINARY_DIR}/${target}-manifest")
    configure_file("${manifest}" "${directory}/manifest.json" COPYONLY)
    usFunctionEmbedResources(TARGET ${target} BUNDLE_NAME ${symbolic_name} ${mode}
        WORKING_DIRECTORY "${directory}" FILES manifest.json)
    target_link_options(${target} PRIVATE LINKER:-z,noexecstack) # the linked manifest does not say that it needs none
endfunction()

# With the standalone provider: a generated source puts the manifest's bytes into an ELF section of their own, which the
# framework reads without loading the library, and defines the initialisation.
function(spf_make_standalone_bundle target manifest symbolic_name)
    file(READ "${manifest}" bytes HEX)
    string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
    set(source "${CMAKE_CURRENT_BINARY_DIR}/${target}-manifest/bundle.cpp")
    file(CONFIGURE OUTPUT "${source}" @ONLY CONTENT [[
// Makes @symbolic_name@ a bundle: its manifest and its initialisation. Generated by spf_make_bundle().
#include "cppmicroservices/BundleInitialization.h"

CPPMICROSERVICES_INITIALIZE_BUNDLE

__attribute__((section("cppmicroservices_manifest"), used, aligned(1))) static unsigned char const manifest[] = {
    @bytes@
};
]])
    target_sources(${target} PRIVATE "${source}")
endfunction()
