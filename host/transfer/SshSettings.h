// Who an sftp transfer logs in as and which servers it trusts, from the
// settings registry, section "SSH":
//   "PrivateKey"  the private key file (default: the first of
//                 ~/.ssh/id_ed25519, ~/.ssh/id_ecdsa, ~/.ssh/id_rsa that exists)
//   "KnownHosts"  the known-hosts file (default: ~/.ssh/known_hosts)
// A server whose key is not in the known-hosts file is refused; nothing is
// ever added to the file.
#pragma once

#include <string>

namespace host {

struct SshSettings {
    std::string privateKey; // a file name (bytes), empty when none is known
    std::string knownHosts;
};

SshSettings ReadSshSettings();

} // namespace host
