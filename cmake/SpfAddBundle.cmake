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
    file(READ "${manifest}" text)
    string(JSON symbolic_name GET "${text}" "bundle.symbolic_name")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${manifest}")
    target_compile_definitions(${target} PRIVATE US_BUNDLE_NAME=${symbolic_name})
    target_link_libraries(${target} PRIVATE spf::microservices)
    set_target_properties(${target} PROPERTIES US_BUNDLE_NAME ${symbolic_name})
    if(SPF_MICROSERVICES_PROVIDER STREQUAL installed)
        spf_make_installed_bundle(${target} "${manifest}" ${symbolic_name})
    else()
        spf_make_standalone_bundle(${target} "${manifest}" ${symbolic_name})
    endif()
endfunction()

function(spf_add_bundle target)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "MANIFEST;OUTPUT_DIRECTORY" "SOURCES;LIBRARIES")
    if(NOT arg_MANIFEST)
        message(FATAL_ERROR "spf_add_bundle(${target}): MANIFEST is missing")
    endif()
    add_library(${target} SHARED ${arg_SOURCES})
    spf_make_bundle(${target} "${arg_MANIFEST}")
    target_link_libraries(${target} PRIVATE ${arg_LIBRARIES})
    set_target_properties(${target} PROPERTIES PREFIX "")
    if(arg_OUTPUT_DIRECTORY)
        set_target_properties(${target} PROPERTIES LIBRARY_OUTPUT_DIRECTORY "${arg_OUTPUT_DIRECTORY}")
    endif()
endfunction()

# With the installed provider: its own functions generate the initialisation and append the manifest.
function(spf_make_installed_bundle target manifest symbolic_name)
    usFunctionGenerateBundleInit(TARGET ${target} OUT generated)
    usFunctionGetResourceSource(TARGET ${target} OUT generated)
    target_sources(${target} PRIVATE ${generated})
    set(directory "${CMAKE_CURRENT_BINARY_DIR}/${target}-manifest")
    configure_file("${manifest}" "${directory}/manifest.json" COPYONLY)
    usFunctionEmbedResources(TARGET ${target} BUNDLE_NAME ${symbolic_name}
        WORKING_DIRECTORY "${directory}" FILES manifest.json)
endfunction()
