# Puts the Configuration Admin bundle of the chosen provider into the build tree's installation root and installs it.
#
# spf-configuration-admin    builds the bundle there, as ${SPF_CONFIGURATION_ADMIN_BUNDLE}
# spf::configuration-admin   is linked by programs that install the bundle into a framework

set(SPF_CONFIGURATION_ADMIN_BUNDLE
    "${SPF_INSTALLATION_ROOT}/${SPF_MICROSERVICES_BUNDLE_DIRECTORY}/ConfigurationAdmin.so")
add_library(spf-configuration-admin-runtime INTERFACE)
add_library(spf::configuration-admin ALIAS spf-configuration-admin-runtime)

if(SPF_MICROSERVICES_PROVIDER STREQUAL standalone)
    add_subdirectory("${PROJECT_SOURCE_DIR}/standalone/cppmicroservices/configadmin"
        "${PROJECT_BINARY_DIR}/standalone/cppmicroservices/configadmin")
    add_custom_target(spf-configuration-admin)
    add_dependencies(spf-configuration-admin spf-configuration-admin-bundle)
    spf_install_bundle(spf-configuration-admin-bundle "${SPF_MICROSERVICES_BUNDLE_DIRECTORY}")
elseif(TARGET ConfigurationAdmin)
    add_custom_command(OUTPUT "${SPF_CONFIGURATION_ADMIN_BUNDLE}"
        COMMAND "${CMAKE_COMMAND}" -E copy "$<TARGET_FILE:ConfigurationAdmin>" "${SPF_CONFIGURATION_ADMIN_BUNDLE}"
        DEPENDS "$<TARGET_FILE:ConfigurationAdmin>" VERBATIM)
    add_custom_target(spf-configuration-admin ALL DEPENDS "${SPF_CONFIGURATION_ADMIN_BUNDLE}")
    if(SPF_INSTALL)
        install(FILES "$<TARGET_FILE:ConfigurationAdmin>" RENAME ConfigurationAdmin.so
            DESTINATION "${SPF_MICROSERVICES_BUNDLE_DIRECTORY}" COMPONENT bundles)
    endif()
    # The bundle needs this library and records no path to it: it must be in the process when the bundle is loaded.
    target_link_libraries(spf-configuration-admin-runtime INTERFACE
        -Wl,--push-state,--no-as-needed usAsyncWorkService -Wl,--pop-state)
elseif(SPF_BUILD_STANDALONE OR SPF_BUILD_TESTS)
    message(FATAL_ERROR "The CppMicroServices installation in ${CppMicroServices_DIR} has no Configuration Admin bundle")
else()
    add_custom_target(spf-configuration-admin)
endif()
add_dependencies(spf-configuration-admin-runtime spf-configuration-admin)
spf_install_target(spf-configuration-admin-runtime library configuration-admin)
