#pragma once

#include <QObject>
#include <QString>

#include <cstdint>

namespace orvane::model { class KeyGroup; class Orvane; }
using orvane::model::Orvane;

class VerificationConnectionServer;

// The key group that the user is taking off this computer (a paired phone or
// a cloud account), and the removal itself.
class KeyGroupToBeUnregisteredModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString keyGroupName READ keyGroupName NOTIFY keyGroupChanged)
    Q_PROPERTY(QString keyGroupType READ keyGroupType NOTIFY keyGroupChanged)

public:
    explicit KeyGroupToBeUnregisteredModel(VerificationConnectionServer* server, QObject* parent = nullptr);

    // "" with no group.
    QString keyGroupName() const { return keyGroupName_; }
    // "CLOUD", "SMARTPHONE", or "" with no group.
    QString keyGroupType() const { return keyGroupType_; }

    // The group chosen in the list. Its name and type are read here, once:
    // a removed cloud account is gone from the identity while the result page
    // still shows them.
    void setKeyGroup(orvane::model::KeyGroup* group);
    void setPtrOrvane(Orvane* ptrOrvane);

signals:
    void keyGroupChanged();
    void keyGroupUnregistered();
    void offLineServer(bool offline);

public slots:
    // Removes the group in the background. The offline flag is the only
    // report of a failure; keyGroupUnregistered follows whatever happened,
    // unless the identity threw, which ends the task without a word.
    void unregisterKeyGroup();

private:
    orvane::model::KeyGroup* group_ = nullptr;
    QString keyGroupName_;
    QString keyGroupType_;
    Orvane* orvane_ = nullptr;
};
