#pragma once

#include <string>

namespace orvane::model {

// Where the program's files lie. The common data folder holds what the
// installer wrote for all users; the user's data folder holds the identity and
// the proxy settings. Asking for a path under the user's folder creates its
// one folder level ("Orvane" or the legacy "Kestrel_Desktop"), owner-only.
//
// Failures raise std::runtime_error with the texts the rest of the program
// shows: "Falha ao carregar diretorio ProgramData",
// "Falha ao carregar diretorio AppData\Local", "Error criando diretório".
std::string configFilePath();
std::string legacyConfigFilePath();
std::string identityFilePath();
std::string legacyIdentityFilePath();
std::string proxyFilePath();
std::string legacyProxyFilePath();

// The user's "Orvane" folder itself (created like the paths above), home of
// the key store and the certificate store.
std::string userOrvaneFolder();

} // namespace orvane::model
