#pragma once

#include <QString>
#include <QUrl>

// The help page in Portuguese that ships with the program: how to register
// this computer, pair a phone, add a cloud account, approve a signature, and
// what the offline banner means. It lies under share/ beside the program's
// folder, both installed and in the build tree.
class HelpPage {
public:
    // The page as a local file URL, for the program in `programFolder`.
    static QUrl kestrelFaq(const QString& programFolder);
    // The same for the running program.
    static QUrl kestrelFaq();
};
