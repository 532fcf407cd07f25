#pragma once

#include <QSharedMemory>
#include <QString>

#include <cstdint>

// One running window per user session. The first instance holds a small
// shared block under a fixed key and writes its main window's identifier into
// it; a later start finds the block, reads the identifier, raises that window
// and leaves.
class SingleInstance {
public:
    explicit SingleInstance(const QString& key = QStringLiteral("Kestrel"));

    // True when this process is the first instance. A block left behind by a
    // first instance that was killed (nobody attached any more) is removed and
    // taken over, so a crash never locks out later starts.
    bool acquire();

    // For a later instance: the window identifier the first one published
    // (zero while it is still starting).
    std::uint64_t publishedWindow();

    // For the first instance: tells later starts which window to raise.
    void publishWindow(std::uint64_t windowId);

private:
    QSharedMemory memory_;
};
