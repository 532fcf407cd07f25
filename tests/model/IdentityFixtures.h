#pragma once

#include "model/identity/Orvane.h"

#include "signer/Certificate.h"

#include <memory>
#include <string>
#include <vector>

namespace orvane::test {

// The addresses that the suite's configuration file names (written once,
// before anything asks for them, since the program keeps them per process).
extern const wchar_t* const kActiveKestrelUrl;
extern const wchar_t* const kOtherKestrelUrl;

// Writes the configuration file for the addresses above.
void writeServiceConfiguration();

// Real ICP-Brasil certificates from the shared test data, by file name under
// end-entity/ (without ".pem"), and the base64 of their DER.
std::shared_ptr<valmora::signer::Certificate> testCertificate(const std::string& name);
std::string testCertificateBase64(const std::string& name);
extern const char* const kAdemir;
extern const char* const kKabum;

// An aggregate with two Kestrel installations (the active one second), two
// Harrier installations (one active) with wallets, phones with key
// references from the test certificates, XML-special characters in names,
// and a few empty values. Back-pointers are wired.
std::unique_ptr<model::Orvane> sampleIdentity();

// Wipes the identity file between tests.
void removeIdentityFile();

} // namespace orvane::test
