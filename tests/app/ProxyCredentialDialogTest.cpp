// The window's proxy credential dialog, driven as a user would: it must show
// the network layer's texts, hand back what was typed, and be reachable from
// a request thread while that thread waits.

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
#include <chrono>
#include <functional>
#include <memory>
#include <thread>

// Qt's offscreen platform keeps its screen objects past the application's
// end; the leak checker of sanitizer builds is told to look past them.
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:libqoffscreen.so\n";
}

namespace {

class ProxyCredentialDialogTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        static int argc = 1;
        static char name[] = "app_tests";
        static char* argv[] = {name, nullptr};
        application_ = new QApplication(argc, argv);
    }
    static void TearDownTestSuite()
    {
        delete application_;
        application_ = nullptr;
    }

    // Waits on the GUI thread for the next credential dialog and lets
    // `act` play the user on it.
    static std::unique_ptr<QTimer> answerNextDialog(std::function<void(ProxyCredentialDialog*)> act)
    {
        auto timer = std::make_unique<QTimer>();
        timer->setInterval(10);
        QObject::connect(timer.get(), &QTimer::timeout, [act, raw = timer.get()] {
            auto* dialog = qobject_cast<ProxyCredentialDialog*>(QApplication::activeModalWidget());
            if (!dialog || !dialog->isVisible())
                return;
            raw->stop();
            act(dialog);
        });
        timer->start();
        return timer;
    }

    static void type(ProxyCredentialDialog* dialog, const QString& user, const QString& password)
    {
        QTest::keyClicks(dialog->findChild<QLineEdit*>(QStringLiteral("user")), user);
        QTest::keyClicks(dialog->findChild<QLineEdit*>(QStringLiteral("password")), password);
    }

    static void press(ProxyCredentialDialog* dialog, QDialogButtonBox::StandardButton which)
    {
        auto* buttons = dialog->findChild<QDialogButtonBox*>(QStringLiteral("buttons"));
        QTest::mouseClick(buttons->button(which), Qt::LeftButton);
    }

    // Runs the prompt on a thread of its own, as a request does, and keeps
    // the GUI thread's events going until it returns (ten seconds at most).
    static int askFromWorker(std::wstring& user, std::wstring& password)
    {
        ProxyCredentialDialog::Prompt prompt;
        std::atomic<bool> done{false};
        int result = -1;
        std::thread worker([&] {
            result = prompt.ask(user, password);
            done = true;
        });
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!done && std::chrono::steady_clock::now() < deadline)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        if (!done) {
            // Let the worker go before failing: close whatever is open.
            if (auto* dialog = QApplication::activeModalWidget())
                qobject_cast<QDialog*>(dialog)->reject();
            while (!done)
                QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        }
        worker.join();
        return result;
    }

    static QApplication* application_;
};

QApplication* ProxyCredentialDialogTest::application_ = nullptr;

TEST_F(ProxyCredentialDialogTest, RequestThreadGetsWhatWasTypedAfterOkAndNothingAfterCancel)
{
    // The user sees the network layer's caption and message, and a hidden
    // password.
    const auto timer = answerNextDialog([](ProxyCredentialDialog* dialog) {
        EXPECT_EQ(dialog->windowTitle(), QStringLiteral("Kestrel"));
        EXPECT_EQ(dialog->findChild<QLabel*>(QStringLiteral("message"))->text().toUtf8(),
                  QByteArray("Entre com a conta do usu\xC3\xAF\xC2\xBF\xC2\xBDrio"));
        EXPECT_EQ(dialog->findChild<QLineEdit*>(QStringLiteral("password"))->echoMode(), QLineEdit::Password);
        type(dialog, QStringLiteral("agent"), QStringLiteral("s"));
        // keyClicks knows only ASCII keys; the rest is typed as input text.
        dialog->findChild<QLineEdit*>(QStringLiteral("password"))->insert(QString::fromUtf8("\xC3\xA9nha"));
        press(dialog, QDialogButtonBox::Ok);
    });
    std::wstring user;
    std::wstring password;
    EXPECT_EQ(askFromWorker(user, password), 0);
    EXPECT_EQ(user, L"agent");
    EXPECT_EQ(password, L"s\u00e9nha");

    const auto cancelling = answerNextDialog([](ProxyCredentialDialog* dialog) {
        type(dialog, QStringLiteral("agent"), QStringLiteral("typed"));
        press(dialog, QDialogButtonBox::Cancel);
    });
    user = L"before";
    password.clear();
    EXPECT_NE(askFromWorker(user, password), 0);
    EXPECT_EQ(user, L"before");
    EXPECT_EQ(password, L"");
}

TEST_F(ProxyCredentialDialogTest, AskedOnTheGuiThreadItShowsAtOnce)
{
    const auto timer = answerNextDialog([](ProxyCredentialDialog* dialog) {
        type(dialog, QStringLiteral("u"), QStringLiteral("p"));
        press(dialog, QDialogButtonBox::Ok);
    });
    ProxyCredentialDialog::Prompt prompt;
    std::wstring user;
    std::wstring password;
    EXPECT_EQ(prompt.ask(user, password), 0);
    EXPECT_EQ(user, L"u");
    EXPECT_EQ(password, L"p");
}

TEST_F(ProxyCredentialDialogTest, InstallMakesItTheNetworkLayersPrompt)
{
    const auto previous = valmora::net::ProxyCredentialPrompt::installed();
    ProxyCredentialDialog::install();
    EXPECT_NE(dynamic_cast<ProxyCredentialDialog::Prompt*>(valmora::net::ProxyCredentialPrompt::installed().get()),
              nullptr);
    valmora::net::ProxyCredentialPrompt::install(previous);
}

} // namespace
