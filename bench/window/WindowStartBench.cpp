// Cold start to the first frame on screen, measured from outside: the time
// from the start of a new process to the line it prints when its window has
// swapped its first frame (QQuickWindow::frameSwapped).
//
//   window: the program's own start (object graph, identity of 20
//           certificates on two phones, the root document, the list);
//   floor:  a bare Qt Quick Controls 1.4 ApplicationWindow of the same size
//           that loads the same fonts.
//
// Both run as separate processes under the same X server, alternating, in
// the same run. Run it under a virtual X server:
//
//   xvfb-run -a -s "-screen 0 1280x800x24" build/bench/window/bench_window_start [REPETITIONS]
#include "app/Application.h"
#include "app/ObjectGraph.h"
#include "config/ApplicationPaths.h"
#include "config/ServiceUrls.h"
#include "model/identity/Orvane.h"
#include "model/kestrel/KestrelSignatureStrategy.h"
#include "signer/Certificate.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <vector>

using namespace orvane::model;

namespace {

const char* const kCertificates[] = {
    "ecpf-a1-ademir-alves-henrique-digitalsign-rfb-2015", "ecnpj-a1-kabum-certisign-rfb-g5-2019",
    "ecnpj-a1-lemos-e-marques-certisign-rfb-g5-2020", "test-ecpf-lacuna-alan-mathison-turing-2016"};

const char* const kFloorDocument = R"(
import QtQuick 2.7
import QtQuick.Controls 1.4
ApplicationWindow {
    width: 1000; height: 600; visible: true
    FontLoader { source: "qrc:/fonts/OpenSans-Bold.ttf" }
    FontLoader { source: "qrc:/fonts/OpenSans-BoldItalic.ttf" }
    FontLoader { source: "qrc:/fonts/OpenSans-ExtraBold.ttf" }
    FontLoader { source: "qrc:/fonts/OpenSans-ExtraBoldItalic.ttf" }
    FontLoader { source: "qrc:/fonts/OpenSans-Italic.ttf" }
    FontLoader { source: "qrc:/fonts/OpenSans-Light.ttf" }
    FontLoader { source: "qrc:/fonts/OpenSans-LightItalic.ttf" }
    FontLoader { source: "qrc:/fonts/OpenSans-Regular.ttf" }
    FontLoader { source: "qrc:/fonts/OpenSans-Semibold.ttf" }
    FontLoader { source: "qrc:/fonts/OpenSans-SemiboldItalic.ttf" }
    FontLoader { source: "qrc:/fonts/OpenSansCondensed-Bold.ttf" }
    FontLoader { source: "qrc:/fonts/OpenSansCondensed-Light.ttf" }
    Label { anchors.centerIn: parent; text: "Certificados"; font.family: "Open Sans"; font.pixelSize: 24 }
}
)";

std::string readAll(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// An installation at the configured service with 20 keys on two phones.
void writeIdentity()
{
    std::vector<std::shared_ptr<valmora::signer::Certificate>> pool;
    for (const char* name : kCertificates)
        pool.push_back(std::make_shared<valmora::signer::Certificate>(valmora::signer::Certificate::fromText(
            readAll(std::string(ORVANE_SHARED_TESTDATA_DIR) + "/icp-brasil/end-entity/" + name + ".pem"))));
    Orvane identity;
    identity.privateKeyReference = L"Orvane.0f8c3a52-6d1e-4b7a-9c2d-5e4f3a2b1c0d";
    identity.desktopInfo = {L"BENCH", L"Linux", L"user", L"domain"};
    KestrelInstallation kestrel;
    kestrel.targetUrl = kestrelBaseUrl();
    kestrel.installationCode = L"INST";
    std::shared_ptr<Device> phone;
    for (int i = 0; i < 20; ++i) {
        if (i % 10 == 0) {
            phone = std::make_shared<Device>();
            phone->hash = L"DEVICE-" + std::to_wstring(i);
            phone->fantasyName = L"Phone " + std::to_wstring(i);
            phone->localName = L"kestrel no Phone " + std::to_wstring(i);
            kestrel.devices.devices.push_back(phone);
        }
        KeyReference key(pool[static_cast<std::size_t>(i) % pool.size()], phone.get(),
                         &KestrelSignatureStrategy::instance());
        key.keyName = L"key-" + std::to_wstring(i);
        key.friendlyName = L"Holder " + std::to_wstring(i);
        key.ensureKeyId(static_cast<std::uint32_t>(i + 1));
        phone->keyReferences.push_back(key);
    }
    identity.kestrelInstallations.push_back(kestrel);
    identity.setOwners();
    identity.save();
}

// Child: shows one window and prints one line at its first frame.
int showAndQuit(int argc, char** argv, bool floor)
{
    QApplication application(argc, argv);
    std::unique_ptr<ObjectGraph> graph;
    QQmlApplicationEngine engine;
    QQuickWindow* window = nullptr;
    if (floor) {
        engine.loadData(kFloorDocument);
        window = engine.rootObjects().isEmpty() ? nullptr : qobject_cast<QQuickWindow*>(engine.rootObjects().first());
    } else {
        QElapsedTimer phase;
        phase.start();
        graph = std::make_unique<ObjectGraph>();
        graph->start(Application::kVersion);
        const qint64 started = phase.elapsed();
        window = Application::loadWindow(engine, *graph);
        // Where the start goes, for whoever profiles it.
        if (qEnvironmentVariableIsSet("ORVANE_BENCH_PHASES"))
            std::fprintf(stderr, "object graph %lld ms, root document %lld ms\n", started,
                         phase.elapsed() - started);
    }
    if (!window)
        return 1;
    QObject::connect(window, &QQuickWindow::frameSwapped, &application, [] {
        std::printf("frame\n");
        std::fflush(stdout);
        QCoreApplication::exit(0);
    }, Qt::QueuedConnection);
    return QApplication::exec();
}

// Milliseconds from the start of the child to its line; -1 when none came.
double timeOne(const QString& program, const QString& mode)
{
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QElapsedTimer timer;
    timer.start();
    child.start(program, {mode});
    while (child.waitForReadyRead(30000))
        if (child.readAll().contains("frame"))
            break;
    const double elapsed = static_cast<double>(timer.nsecsElapsed()) / 1e6;
    const bool seen = child.state() != QProcess::NotRunning || child.exitCode() == 0;
    child.waitForFinished(30000);
    return seen ? elapsed : -1;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const std::size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 2 && (std::string(argv[1]) == "--floor" || std::string(argv[1]) == "--window"))
        return showAndQuit(argc, argv, std::string(argv[1]) == "--floor");

    const int repetitions = argc > 1 ? std::max(1, std::atoi(argv[1])) : 9;
    // Throw-away folders: the configuration points at a port where nothing
    // listens, so the start's calls fail at once, as offline.
    QTemporaryDir root;
    qputenv("HOME", (root.path() + "/home").toUtf8());
    qputenv("XDG_DATA_HOME", (root.path() + "/home/.local/share").toUtf8());
    qputenv("XDG_CONFIG_HOME", (root.path() + "/home/.config").toUtf8());
    qputenv("XDG_CONFIG_DIRS", (root.path() + "/etc-xdg").toUtf8());
    qputenv("XDG_RUNTIME_DIR", (root.path() + "/run").toUtf8());
    QDir().mkpath(root.path() + "/run");
    QFile::setPermissions(root.path() + "/run", QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    QDir().mkpath(root.path() + "/home/.local/share/Orvane");
    QDir().mkpath(root.path() + "/etc-xdg/Orvane");
    std::ofstream(configFilePath()) << "brantis.url = http://127.0.0.1:9\nbrantis.base.name = /TolvaneServices\n"
                                       "harrier.url = 127.0.0.1:9\n";
    writeIdentity();

    const QString self = QString::fromLocal8Bit(argv[0]);
    std::vector<double> window, floor;
    timeOne(self, "--floor");   // warms the disk cache for both
    timeOne(self, "--window");
    for (int i = 0; i < repetitions; ++i) {
        floor.push_back(timeOne(self, "--floor"));
        window.push_back(timeOne(self, "--window"));
    }
    if (std::count(floor.begin(), floor.end(), -1.0) || std::count(window.begin(), window.end(), -1.0)) {
        std::cerr << "a window did not draw" << std::endl;
        return 1;
    }
    const double w = median(window), f = median(floor);
    std::printf("cold start to first frame, %d repetitions each (median)\n", repetitions);
    std::printf("  floor  (bare ApplicationWindow, same fonts): %8.1f ms\n", f);
    std::printf("  window (Orvane, 20 certificates):            %8.1f ms\n", w);
    std::printf("  ratio: %.2f\n", w / f);
    return 0;
}
