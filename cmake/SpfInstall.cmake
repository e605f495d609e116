# What `cmake --install` puts where, and the package that it makes of it. An installation is laid out as the build tree's
# installation root is; nothing in it records where it lies, so it may be moved as a whole.
#
# Install components, which are also those of find_package(spf-frameworksetup): each brings its headers and targets.
#   library           the library, the host declarations, the provider of the CppMicroServices interface,
#                     documentation
#   standalone-host   the standalone host
#   bundles           the SPF bundles, Configuration Admin, and the service interfaces of the bundles
#   agent             spf-agent, its man page and schema, examples

set(SPF_CMAKE_DIRECTORY "${CMAKE_INSTALL_LIBDIR}/cmake/spf-frameworksetup")
set(SPF_EXAMPLE_DIRECTORY "${CMAKE_INSTALL_DATADIR}/spf-frameworksetup/examples")
set(SPF_STANDALONE_INCLUDE_DIRECTORY "${CMAKE_INSTALL_INCLUDEDIR}/spf-frameworksetup/standalone-microservices")

foreach(directory IN ITEMS CMAKE_INSTALL_BINDIR CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR)
    if(SPF_INSTALL AND IS_ABSOLUTE "${${directory}}")
        message(FATAL_ERROR "${directory} is ${${directory}}; it must be relative to the installation's prefix")
    endif()
endforeach()

# Lets <target>, which is installed in <directory>, find the libraries of the installation.
function(spf_set_install_rpath target directory)
    file(RELATIVE_PATH libraries "/${directory}" "/${CMAKE_INSTALL_LIBDIR}")
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries}")
    if(SPF_MICROSERVICES_PROVIDER STREQUAL installed)
        set_target_properties(${target} PROPERTIES INSTALL_RPATH_USE_LINK_PATH ON)
    endif()
endfunction()

# spf_install_target(<target> <component> <exported name>): installs a library or program, as spf::<exported name>.
function(spf_install_target target component exported_name)
    set_target_properties(${target} PROPERTIES EXPORT_NAME ${exported_name})
    get_target_property(type ${target} TYPE)
    if(type STREQUAL SHARED_LIBRARY)
        set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
        spf_set_install_rpath(${target} "${CMAKE_INSTALL_LIBDIR}")
    elseif(type STREQUAL EXECUTABLE)
        spf_set_install_rpath(${target} "${CMAKE_INSTALL_BINDIR}")
    endif()
    if(SPF_INSTALL)
        install(TARGETS ${target} EXPORT spf-frameworksetup-${component}
            RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT ${component}
            LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT ${component})
    endif()
endfunction()

# spf_install_bundle(<target> <directory>): installs a bundle into a directory of the installation root.
function(spf_install_bundle target directory)
    spf_set_install_rpath(${target} "${directory}")
    if(SPF_INSTALL)
        install(TARGETS ${target} LIBRARY DESTINATION "${directory}" COMPONENT bundles)
    endif()
endfunction()

# spf_install_headers(<target> <component> <include root> [<destination>]): installs what lies below the include root, and
# has who links the installed target find it.
function(spf_install_headers target component root)
    set(destination "${CMAKE_INSTALL_INCLUDEDIR}")
    if(ARGC GREATER 3)
        set(destination "${ARGV3}")
    endif()
    target_include_directories(${target} INTERFACE "$<INSTALL_INTERFACE:${destination}>")
    if(SPF_INSTALL)
        install(DIRECTORY "${root}/" DESTINATION "${destination}" COMPONENT ${component}
            FILES_MATCHING PATTERN "*.hpp" PATTERN "*.h")
    endif()
endfunction()

# The exported targets, the package configuration and the pkg-config files. Comes after all targets.
function(spf_install_package)
    include(CMakePackageConfigHelpers)
    configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/spf-frameworksetupConfig.cmake.in"
        spf-frameworksetupConfig.cmake INSTALL_DESTINATION "${SPF_CMAKE_DIRECTORY}" NO_SET_AND_CHECK_MACRO)
    write_basic_package_version_file(spf-frameworksetupConfigVersion.cmake COMPATIBILITY SameMajorVersion)
    install(FILES
        "${CMAKE_CURRENT_BINARY_DIR}/spf-frameworksetupConfig.cmake"
        "${CMAKE_CURRENT_BINARY_DIR}/spf-frameworksetupConfigVersion.cmake"
        "${PROJECT_SOURCE_DIR}/cmake/SpfAddBundle.cmake"
        DESTINATION "${SPF_CMAKE_DIRECTORY}" COMPONENT library)
    set(components library)
    if(SPF_BUILD_STANDALONE)
        list(APPEND components standalone-host bundles agent)
    endif()
    install(FILES CHANGELOG.md CONTRIBUTING.md LICENSE README.md SECURITY.md
        DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT library)
    install(DIRECTORY docs DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT library
        FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "*.dat" PATTERN snippets EXCLUDE)
    foreach(component IN LISTS components)
        install(EXPORT spf-frameworksetup-${component} NAMESPACE spf::
            DESTINATION "${SPF_CMAKE_DIRECTORY}" COMPONENT ${component})
    endforeach()
    spf_install_pkg_config_file(spf-frameworksetup library)
    if(SPF_BUILD_STANDALONE)
        spf_install_pkg_config_file(spf-standalone-host standalone-host)
    endif()
endfunction()

function(spf_install_pkg_config_file name component)
    set(directory "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
    file(RELATIVE_PATH prefix "/${directory}" "/")
    set(prefix "\${pcfiledir}/${prefix}")
    if(SPF_MICROSERVICES_PROVIDER STREQUAL installed)
        set(includes "$<TARGET_PROPERTY:CppMicroServices,INTERFACE_INCLUDE_DIRECTORIES>")
        set(provider_cflags "-I$<JOIN:${includes}, -I>")
        set(provider_libs "$<TARGET_FILE:CppMicroServices>")
    else()
        set(provider_cflags "-I\${prefix}/${SPF_STANDALONE_INCLUDE_DIRECTORY}")
        set(provider_libs "-lagent_spf_standalone_microservices")
    endif()
    configure_file("${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in" ${name}.pc.in @ONLY)
    file(GENERATE OUTPUT ${name}.pc INPUT "${CMAKE_CURRENT_BINARY_DIR}/${name}.pc.in")
    install(FILES "${CMAKE_CURRENT_BINARY_DIR}/${name}.pc" DESTINATION "${directory}" COMPONENT ${component})
endfunction()
