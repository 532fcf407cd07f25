#include "app/ProxyCredentialDialog.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QThread>
#include <QVBoxLayout>

ProxyCredentialDialog::ProxyCredentialDialog(QWidget* parent)
    : QDialog(parent), user_(new QLineEdit(this)), password_(new QLineEdit(this))
{
    setWindowTitle(QString::fromStdWString(valmora::net::ProxyCredentialPrompt::caption));
    setModal(true);

    auto* message = new QLabel(QString::fromStdWString(valmora::net::ProxyCredentialPrompt::message), this);
    message->setObjectName(QStringLiteral("message"));
    user_->setObjectName(QStringLiteral("user"));
    password_->setObjectName(QStringLiteral("password"));
    password_->setEchoMode(QLineEdit::Password);

    auto* fields = new QFormLayout;
    fields->addRow(tr("User"), user_);
    fields->addRow(tr("Password"), password_);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->setObjectName(QStringLiteral("buttons"));
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(message);
    layout->addLayout(fields);
    layout->addWidget(buttons);
}

QString ProxyCredentialDialog::user() const
{
    return user_->text();
}

QString ProxyCredentialDialog::password() const
{
    return password_->text();
}

int ProxyCredentialDialog::Prompt::ask(std::wstring& user, std::wstring& password)
{
    QCoreApplication* application = QCoreApplication::instance();
    if (!application)
        return 1;
    int result = 1;
    auto show = [&] {
        ProxyCredentialDialog dialog(QApplication::activeWindow());
        if (dialog.exec() == QDialog::Accepted) {
            user = dialog.user().toStdWString();
            password = dialog.password().toStdWString();
            result = 0;
        }
    };
    if (QThread::currentThread() == application->thread())
        show();
    else
        QMetaObject::invokeMethod(application, show, Qt::BlockingQueuedConnection);
    return result;
}

void ProxyCredentialDialog::install()
{
    valmora::net::ProxyCredentialPrompt::install(std::make_shared<Prompt>());
}
