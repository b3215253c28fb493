// The built module as a host sees it: loaded with dlopen, entry points and
// identifiers found with dlsym, and nothing else exported.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <set>
#include <string>

#include "core/REFString.h"
#include "support/CountingCollection.h"

namespace {

const std::string kModulePath = std::string(SHADOW_BUILD_DIR) + "/_binARM64/Shadow.so";

// The module stays loaded for the life of the test program, as in a host.
void* Module() {
    static void* handle = dlopen(kModulePath.c_str(), RTLD_NOW);
    return handle;
}

std::set<std::string> DefinedDynamicSymbols() {
    std::set<std::string> names;
    std::string command = "nm -D --defined-only '" + kModulePath + "'";
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), &pclose);
    if (!pipe) return names;
    char line[1024];
    while (std::fgets(line, sizeof line, pipe.get())) {
        // "<value> <type> <name>[@version]"
        std::string text(line);
        text.erase(text.find_last_not_of("\r\n") + 1);
        size_t space = text.rfind(' ');
        std::string name = space == std::string::npos ? text : text.substr(space + 1);
        name = name.substr(0, name.find('@'));
        if (!name.empty()) names.insert(name);
    }
    return names;
}

TEST(ModuleExports, LoadsWithImmediateBinding) {
    ASSERT_NE(Module(), nullptr) << dlerror();
    for (const char* entry : {"InitializeModule", "CreateFunction", "gGlobalComponentCollection", "gDefaultURL"})
        EXPECT_NE(dlsym(Module(), entry), nullptr) << entry;
}

TEST(ModuleExports, ExportsOnlyEntryPointsGlobalsAndIdentifiers) {
    std::set<std::string> names = DefinedDynamicSymbols();
    ASSERT_FALSE(names.empty()) << "nm could not read " << kModulePath;
    const std::set<std::string> entries = {"InitializeModule", "CreateFunction", "gGlobalComponentCollection",
                                           "gDefaultURL"};
    size_t identifiers = 0;
    for (const std::string& name : names) {
        if (name.rfind("IID_", 0) == 0) ++identifiers;
        else EXPECT_TRUE(entries.count(name)) << "unexpected export " << name;
    }
    for (const std::string& entry : entries) EXPECT_TRUE(names.count(entry)) << "missing " << entry;
    EXPECT_EQ(identifiers, 232u);
}

TEST(ModuleExports, IdentifiersAreFilledWhenLoaded) {
    ASSERT_NE(Module(), nullptr);
    auto* step = static_cast<const IID*>(dlsym(Module(), "IID_IStep"));
    ASSERT_NE(step, nullptr);
    const uint8_t expected[16] = {0x69, 0xD2, 0x02, 0x01};
    EXPECT_EQ(std::memcmp(step, expected, 16), 0);
    auto* unknown = static_cast<const IID*>(dlsym(Module(), "IID_IUnknown"));
    ASSERT_NE(unknown, nullptr);
    const uint8_t standard[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};
    EXPECT_EQ(std::memcmp(unknown, standard, 16), 0);
    auto* empty = static_cast<const IID*>(dlsym(Module(), "IID_NULL"));
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(std::memcmp(empty, std::array<uint8_t, 16>{}.data(), 16), 0);
}

TEST(ModuleExports, DefaultUrlIsAnHttpDownloadFolder) {
    ASSERT_NE(Module(), nullptr);
    auto* view = static_cast<const CREFString*>(dlsym(Module(), "gDefaultURL"));
    ASSERT_NE(view, nullptr);
    ASSERT_GT(view->m_Length, 0);
    std::wstring text(view->m_pString, view->m_Length);
    EXPECT_EQ(text.rfind(L"http://", 0), 0u) << std::string(text.begin(), text.end());
    EXPECT_TRUE(text.ends_with(L"/downloads/Velmix/"));
    EXPECT_EQ(static_cast<size_t>(view->m_Length), std::wcslen(view->m_pString));
}

TEST(ModuleExports, InitializeModuleHoldsOneReference) {
    ASSERT_NE(Module(), nullptr);
    auto initialize = reinterpret_cast<InitializeModuleFunction>(dlsym(Module(), "InitializeModule"));
    auto* held = static_cast<IComponentCollection**>(dlsym(Module(), "gGlobalComponentCollection"));
    ASSERT_NE(initialize, nullptr);
    ASSERT_NE(held, nullptr);
    EXPECT_EQ(*held, nullptr);

    CountingCollection host;
    EXPECT_EQ(initialize(nullptr, &host), S_OK);
    EXPECT_EQ(initialize(nullptr, &host), S_OK);
    EXPECT_EQ(host.Refs(), 1u);
    EXPECT_EQ(*held, &host);
    EXPECT_EQ(initialize(nullptr, nullptr), S_OK);
    EXPECT_EQ(host.Refs(), 0u);
    EXPECT_EQ(*held, nullptr);
}

} // namespace
