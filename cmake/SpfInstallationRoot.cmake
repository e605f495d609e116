# Where the build tree keeps an installation: programs and bundles lie below it as they do below an install prefix,
# so that programs run from the build tree find their bundles by the same rule.

# A generator of several configurations builds one of each; then the name holds a generator expression.
set(SPF_INSTALLATION_ROOT "${PROJECT_BINARY_DIR}/root")
get_property(several_configurations GLOBAL PROPERTY GENERATOR_IS_MULTI_CONFIG)
if(several_configurations)
    string(APPEND SPF_INSTALLATION_ROOT "/$<CONFIG>")
endif()
set(SPF_BUNDLE_DIRECTORY "bin/darwinarm64/spf")                    # the seven directories of SPF bundles
set(SPF_MICROSERVICES_BUNDLE_DIRECTORY "bin/darwinarm64/microservices")  # Configuration Admin, installed by the host
