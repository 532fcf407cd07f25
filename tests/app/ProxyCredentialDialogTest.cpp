// The window's proxy credential dialog, driven as a user would, from a
// request thread that waits for it and from the GUI thread.

#include "app/ProxyCredentialDialog.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>
#include <QtTest/QTest>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

// Qt's offscreen platform keeps its screen objects past the application's
// end; the leak checker of sanitizer builds is told to look past them.
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:libqoffscreen.so\n";
}

namespace {

// Waits on the GUI thread for the next credential dialog, types into it and
// presses `button`.
std::unique_ptr<QTimer> answerNextDialog(const QString& user, const QString& password,
                                         QDialogButtonBox::StandardButton button)
{
    auto timer = std::make_unique<QTimer>();
    timer->setInterval(10);
    QObject::connect(timer.get(), &QTimer::timeout, [=, raw = timer.get()] {
        auto* dialog = qobject_cast<ProxyCredentialDialog*>(QApplication::activeModalWidget());
        if (!dialog || !dialog->isVisible())
            return;
        raw->stop();
        QTest::keyClicks(dialog->findChild<QLineEdit*>(QStringLiteral("user")), user);
        QTest::keyClicks(dialog->findChild<QLineEdit*>(QStringLiteral("password")), password);
        QTest::mouseClick(dialog->findChild<QDialogButtonBox*>(QStringLiteral("buttons"))->button(button),
                          Qt::LeftButton);
    });
    timer->start();
    return timer;
}

TEST(ProxyCredentialDialog, ARequestThreadGetsWhatWasTypedAfterOkAndTheGuiThreadNothingAfterCancel)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    int argc = 1;
    char name[] = "app_tests";
    char* argv[] = {name, nullptr};
    QApplication application(argc, argv);

    // The network layer's caption and message, and a hidden password.
    const ProxyCredentialDialog look;
    EXPECT_EQ(look.windowTitle(), QStringLiteral("Kestrel"));
    EXPECT_EQ(look.findChild<QLabel*>(QStringLiteral("message"))->text().toUtf8(),
              QByteArray("Entre com a conta do usu\xC3\xAF\xC2\xBF\xC2\xBDrio"));
    EXPECT_EQ(look.findChild<QLineEdit*>(QStringLiteral("password"))->echoMode(), QLineEdit::Password);

    const auto timer = answerNextDialog("agent", "senha", QDialogButtonBox::Ok);
    // The prompt runs on a thread of its own, as a request does, while the
    // GUI thread's events go on.
    std::wstring user;
    std::wstring password;
    std::atomic<int> result{-1};
    std::thread worker([&] { result = ProxyCredentialDialog::Prompt().ask(user, password); });
    while (result == -1)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    worker.join();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(user, L"agent");
    EXPECT_EQ(password, L"senha");

    // Installed, it is the network layer's prompt; on the GUI thread it shows
    // at once.
    const auto previous = valmora::net::ProxyCredentialPrompt::installed();
    ProxyCredentialDialog::install();
    const auto cancelling = answerNextDialog("other", "typed", QDialogButtonBox::Cancel);
    EXPECT_NE(valmora::net::ProxyCredentialPrompt::installed()->ask(user, password), 0);
    valmora::net::ProxyCredentialPrompt::install(previous);
    EXPECT_EQ(user, L"agent");
    EXPECT_EQ(password, L"senha");
}

} // namespace
