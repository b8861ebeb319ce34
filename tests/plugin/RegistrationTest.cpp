// The plugin class as the runtime sees it.

#include <gtest/gtest.h>

#include "plugin/DigitalSignPlugin.hpp"
#include "tests/plugin/People.hpp"

namespace KavrelCrypto {
namespace {

using DigitalSignPluginClass = OnANewDevice;

TEST_F(DigitalSignPluginClass, RegistersTenPromisesWithSetStyleFirst) {
    const std::vector<CAPPluginMethod> expected = {
        {"setStyle", "promise"},           {"hasKey", "promise"},           {"getKeyInfo", "promise"},
        {"deleteKey", "promise"},          {"storeCertificate", "promise"}, {"getCertificate", "promise"},
        {"createCSR", "promise"},          {"signDigest", "promise"},       {"ensureKey", "promise"},
        {"getBiometricStatus", "promise"},
    };
    EXPECT_EQ(DigitalSignPlugin().pluginMethods(), expected);
    EXPECT_EQ(DigitalSignPlugin(nullptr, "DigitalSign", "DigitalSign").pluginMethods(), expected);
}

TEST_F(DigitalSignPluginClass, ListsItsMethodsInTheOrderOfTheTableAndOnlySetStyleWithoutAnEntryPoint) {
    const std::vector<CAPPluginMethod> table = DigitalSignPlugin().pluginMethods();
    ASSERT_EQ(DigitalSignPlugin::methods().size(), table.size());
    for (std::size_t i = 0; i < table.size(); ++i) {
        const auto& [name, entryPoint] = DigitalSignPlugin::methods()[i];
        EXPECT_EQ(name, table[i].name);
        EXPECT_EQ(entryPoint == nullptr, name == "setStyle") << name;
    }
}

TEST_F(DigitalSignPluginClass, HasTheSameNamesAfterEitherConstructionAndHandsItsArgumentsToTheBaseClass) {
    int runtime = 0;
    auto* bridge = reinterpret_cast<CAPBridgeProtocol*>(&runtime);
    const DigitalSignPlugin plain;
    const DigitalSignPlugin bridged(bridge, "some id", "some name");
    for (const DigitalSignPlugin* plugin : {&plain, &bridged}) {
        EXPECT_EQ(plugin->identifier(), "DigitalSignPlugin");
        EXPECT_EQ(plugin->jsName(), "DigitalSign");
    }
    EXPECT_EQ(bridged.bridge(), bridge);
    EXPECT_EQ(bridged.pluginId(), "some id");
    EXPECT_EQ(bridged.pluginName(), "some name");
}

TEST_F(DigitalSignPluginClass, HandlesNeitherSetStyleNorAMethodThatIsNotInTheTable) {
    for (const char* name :
         {"setStyle", "", "sign", "haskey", "hasKey ", "hasKey:", "hasKeys", "pluginMethods"}) {
        const auto call = std::make_shared<TestCall>(person("0012345678"));
        EXPECT_FALSE(DigitalSignPlugin().perform(name, call)) << name;
        EXPECT_EQ(call->timesFinished(), 0U) << name;
        EXPECT_EQ(call.use_count(), 1) << name;
    }
}

TEST_F(DigitalSignPluginClass, ACallIsReleasedOnceItIsFinished) {
    const TestCallRef call = begin("hasKey", person("0012345678"));
    EXPECT_EQ(call->timesFinished(), 1U);
    EXPECT_EQ(call.use_count(), 1);
}

}  // namespace
}  // namespace KavrelCrypto
