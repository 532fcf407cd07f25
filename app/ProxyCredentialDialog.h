#pragma once

#include "net/ProxyCredentialPrompt.h"

#include <QDialog>
#include <QString>

class QLineEdit;

// The window's question for the proxy's user name and password: a modal
// dialog captioned "Kestrel" with the network layer's message, a user and a
// password field, OK and Cancel.
class ProxyCredentialDialog : public QDialog {
    Q_OBJECT
public:
    explicit ProxyCredentialDialog(QWidget* parent = nullptr);

    QString user() const;
    QString password() const;

    // The network layer's prompt in the window. It is called on a request
    // thread: the dialog is shown on the GUI thread while that thread waits,
    // or at once when the request runs on the GUI thread itself.
    class Prompt : public valmora::net::ProxyCredentialPrompt {
    public:
        int ask(std::wstring& user, std::wstring& password) override;
    };

    // Makes Prompt the network layer's prompt for the rest of the run.
    static void install();

private:
    QLineEdit* user_;
    QLineEdit* password_;
};
