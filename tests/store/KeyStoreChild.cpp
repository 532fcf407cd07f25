// A second process on a token that a test made: finds a named key by its
// name and signs with it, as another run of the agent would.
//   store_keychild sign SOFTHSM_FOLDER KEY_NAME DATA_FILE SIGNATURE_FILE
// Exit 0 on success, 1 with the failure's text on standard error.
#include "signer/NarrowConverter.h"
#include "signer/SystemRepository.h"
#include "signer/directory/DirectoryCertificateStore.h"
#include "signer/pkcs11/Pkcs11KeyStore.h"

#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

using namespace valmora::signer;

int main(int argc, char** argv)
{
    if (argc != 6 || std::string(argv[1]) != "sign") {
        std::cerr << "usage: store_keychild sign SOFTHSM_FOLDER KEY_NAME DATA_FILE SIGNATURE_FILE\n";
        return 2;
    }
    try {
        const std::string folder = argv[2];
        SystemRepository repository(std::make_shared<Pkcs11KeyStore>(Pkcs11Settings::softHsmIn(folder)),
                                    std::make_shared<DirectoryCertificateStore>(folder + "/../certstore"));
        std::ifstream input(argv[4], std::ios::binary);
        const Bytes data((std::istreambuf_iterator<char>(input)), std::istreambuf_iterator<char>());
        const Bytes signature = repository.signWithNamedKey(data, narrowConverter.from_bytes(argv[3]), "SHA256");
        std::ofstream output(argv[5], std::ios::binary);
        output.write(reinterpret_cast<const char*>(signature.data()), static_cast<std::streamsize>(signature.size()));
        return output ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
}
