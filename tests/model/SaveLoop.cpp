// Helper of the crash test: loads the identity of the folders it is given
// (HOME and the XDG variables) and saves it over and over, switching one
// value between two texts, until it is killed.
#include "model/identity/Orvane.h"

#include <cstdio>
#include <exception>

int main()
{
    try {
        auto identity = orvane::model::Orvane::load();
        for (unsigned long round = 0;; ++round) {
            identity->desktopInfo.installationName = (round % 2) ? L"SAVE-B" : L"SAVE-A";
            identity->save();
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    }
}
