#include "host/transfer/SshSettings.h"

#include <unistd.h>

#include <cstdlib>

#include "host/runtime/GlobalComponentCollection.h"
#include "host/text/FileNameEncoding.h"
#include "sdk/Registry.h"

namespace host {

namespace {

// The key's value, empty when the registry or the key is missing.
std::string Setting(IRegistry* registry, const wchar_t* key) {
    wchar_t buffer[4096] = {};
    if (!registry || FAILED(registry->GetValue(REFLiteral(L"SSH"), REFLiteral(key), buffer,
                                               static_cast<int32_t>(std::size(buffer)))))
        return {};
    return FileNameToBytes(buffer);
}

std::string InHome(const char* name) {
    const char* home = std::getenv("HOME");
    return home && *home ? std::string(home) + "/.ssh/" + name : std::string();
}

} // namespace

SshSettings ReadSshSettings() {
    IPtr<IRegistry> registry;
    GlobalCollection()->CreateComponent(REFLiteral(L"Registry"), &IPtr<IRegistry>::Id(), registry.OutVoid());
    SshSettings settings{Setting(registry.Get(), L"PrivateKey"), Setting(registry.Get(), L"KnownHosts")};
    if (settings.privateKey.empty()) {
        for (const char* name : {"id_ed25519", "id_ecdsa", "id_rsa"}) {
            std::string candidate = InHome(name);
            if (!candidate.empty() && access(candidate.c_str(), R_OK) == 0) {
                settings.privateKey = std::move(candidate);
                break;
            }
        }
    }
    if (settings.knownHosts.empty()) settings.knownHosts = InHome("known_hosts");
    return settings;
}

} // namespace host
