// Constants: other programs write these texts into manifests and properties, so they never change.
#include "cppmicroservices/Constants.h"

#include <gtest/gtest.h>

namespace {

using namespace cppmicroservices::Constants;

TEST(Constants, HaveTheirTexts) {
    EXPECT_EQ(SYSTEM_BUNDLE_LOCATION, "System Bundle");
    EXPECT_EQ(SYSTEM_BUNDLE_SYMBOLICNAME, "system_bundle");
    EXPECT_EQ(BUNDLE_ACTIVATOR, "bundle.activator");
    EXPECT_EQ(BUNDLE_CATEGORY, "bundle.category");
    EXPECT_EQ(BUNDLE_COPYRIGHT, "bundle.copyright");
    EXPECT_EQ(BUNDLE_DESCRIPTION, "bundle.description");
    EXPECT_EQ(BUNDLE_MANIFESTVERSION, "bundle.manifest_version");
    EXPECT_EQ(BUNDLE_NAME, "bundle.name");
    EXPECT_EQ(BUNDLE_VENDOR, "bundle.vendor");
    EXPECT_EQ(BUNDLE_VERSION, "bundle.version");
    EXPECT_EQ(BUNDLE_DOCURL, "bundle.doc_url");
    EXPECT_EQ(BUNDLE_CONTACTADDRESS, "bundle.contact_address");
    EXPECT_EQ(BUNDLE_SYMBOLICNAME, "bundle.symbolic_name");
    EXPECT_EQ(BUNDLE_ACTIVATIONPOLICY, "bundle.activation_policy");
    EXPECT_EQ(ACTIVATION_LAZY, "lazy");
    EXPECT_EQ(FRAMEWORK_VERSION, "org.cppmicroservices.framework.version");
    EXPECT_EQ(FRAMEWORK_VENDOR, "org.cppmicroservices.framework.vendor");
    EXPECT_EQ(FRAMEWORK_STORAGE, "org.cppmicroservices.framework.storage");
    EXPECT_EQ(FRAMEWORK_STORAGE_CLEAN, "org.cppmicroservices.framework.storage.clean");
    EXPECT_EQ(FRAMEWORK_STORAGE_CLEAN_ONFIRSTINIT, "onFirstInit");
    EXPECT_EQ(FRAMEWORK_THREADING_SUPPORT, "org.cppmicroservices.framework.threading.support");
    EXPECT_EQ(FRAMEWORK_THREADING_SINGLE, "single");
    EXPECT_EQ(FRAMEWORK_THREADING_MULTI, "multi");
    EXPECT_EQ(FRAMEWORK_LOG, "org.cppmicroservices.framework.log");
    EXPECT_EQ(FRAMEWORK_UUID, "org.cppmicroservices.framework.uuid");
    EXPECT_EQ(FRAMEWORK_WORKING_DIR, "org.cppmicroservices.framework.working.dir");
    EXPECT_EQ(OBJECTCLASS, "objectclass");
    EXPECT_EQ(SERVICE_ID, "service.id");
    EXPECT_EQ(SERVICE_PID, "service.pid");
    EXPECT_EQ(SERVICE_RANKING, "service.ranking");
    EXPECT_EQ(SERVICE_VENDOR, "service.vendor");
    EXPECT_EQ(SERVICE_DESCRIPTION, "service.description");
    EXPECT_EQ(SERVICE_SCOPE, "service.scope");
    EXPECT_EQ(SCOPE_SINGLETON, "singleton");
    EXPECT_EQ(SCOPE_BUNDLE, "bundle");
    EXPECT_EQ(SCOPE_PROTOTYPE, "prototype");
    EXPECT_EQ(LIBRARY_LOAD_OPTIONS, "org.cppmicroservices.library.load.options");
}

} // namespace
