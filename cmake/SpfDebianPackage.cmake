# What `cpack` makes of an installation: one Debian package. It lies below /opt, because the bundles of an installation
# lie below its programs' directory, which is no place for them in /usr.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME spf-frameworksetup)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "the authors of ${PROJECT_NAME} <${PROJECT_NAME}@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX "/opt/${PROJECT_NAME}")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libboost-log-dev (>= 1.74), libboost-dev (>= 1.74)")
# CPack asks dpkg, which names the architecture of this machine.
if(CMAKE_CROSSCOMPILING)
    execute_process(COMMAND dpkg-architecture --host-type "${CMAKE_LIBRARY_ARCHITECTURE}" --query DEB_HOST_ARCH
        OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE OUTPUT_STRIP_TRAILING_WHITESPACE)
endif()
# dpkg-shlibdeps finds the Debian packages of the libraries that are used; a CppMicroServices installation is in none.
if(SPF_MICROSERVICES_PROVIDER STREQUAL standalone)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${SPF_INSTALLATION_ROOT}/lib")
endif()
include(CPack)
