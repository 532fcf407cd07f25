#pragma once

#include <QObject>

// Whether the last service call reached its server. Every model reports the
// outcome of its calls here; the window shows the offline banner from it.
class VerificationConnectionServer : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isOffLine READ isOffLine WRITE writeOffLine NOTIFY changedOffLine)

public:
    explicit VerificationConnectionServer(QObject* parent = nullptr);

    bool isOffLine() const { return offLine_; }

public slots:
    // Stores the value and always tells the listeners, even when it did not
    // change: a repeated failure still refreshes whatever shows it.
    void setOffLine(bool value);

signals:
    void changedOffLine();

private:
    // Writes through the property notify only on a real change.
    void writeOffLine(bool value);

    bool offLine_ = false;
};
