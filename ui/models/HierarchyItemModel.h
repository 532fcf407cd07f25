#pragma once

#include "model/kestrel/IdentityKey.h"

#include <QObject>
#include <QString>

#include <array>
#include <string>

namespace orvane::model { struct Hierarchy; }

// The live form of one hierarchy: the raw text of up to three inputs, the
// masked result shown under them, whether the identity is valid, and the
// identity the device calls send. Every change of an input reruns the masks.
class HierarchyItemModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString displayName READ displayName WRITE setDisplayName NOTIFY itemChanged)
    Q_PROPERTY(QString code READ code WRITE setCode NOTIFY itemChanged)
    Q_PROPERTY(QString identityCode1 READ identityCode1 WRITE setIdentityCode1 NOTIFY identityCodeChanged)
    Q_PROPERTY(int identityCode1Length READ identityCode1Length WRITE setIdentityCode1Length NOTIFY itemChanged)
    Q_PROPERTY(bool displayIdentityCode2 READ displayIdentityCode2 WRITE setDisplayIdentityCode2 NOTIFY itemChanged)
    Q_PROPERTY(QString identityCode2 READ identityCode2 WRITE setIdentityCode2 NOTIFY identityCodeChanged)
    Q_PROPERTY(int identityCode2Length READ identityCode2Length WRITE setIdentityCode2Length NOTIFY itemChanged)
    Q_PROPERTY(bool displayIdentityCode3 READ displayIdentityCode3 WRITE setDisplayIdentityCode3 NOTIFY itemChanged)
    Q_PROPERTY(QString identityCode3 READ identityCode3 WRITE setIdentityCode3 NOTIFY identityCodeChanged)
    Q_PROPERTY(int identityCode3Length READ identityCode3Length WRITE setIdentityCode3Length NOTIFY itemChanged)
    Q_PROPERTY(QString resultMask READ resultMask WRITE setResultMask NOTIFY resultMaskChanged)
    Q_PROPERTY(bool maskSuccess READ maskSuccess WRITE setMaskSuccess NOTIFY resultMaskChanged)
    Q_PROPERTY(bool validIdentity READ isValidIdentity NOTIFY resultMaskChanged)

public:
    // `hierarchy` is not owned and must outlive the item. Without one (an
    // item the screens create themselves) the form has one input and no
    // identity is ever valid.
    explicit HierarchyItemModel(const orvane::model::Hierarchy* hierarchy = nullptr, QObject* parent = nullptr);

    // Width in pixels of the input a mask governs: a mask of free length
    // ("?") gets a wide input, others their length at 18 pixels a
    // character, never under 100.
    static int fieldWidth(const std::wstring& mask);

    // The identity as the device calls take it: the normalised parts joined
    // by "&" (empty parts left out after the first), and the hierarchy code.
    orvane::model::IdentityKey identity() const;

    QString displayName() const { return displayName_; }
    void setDisplayName(const QString& value);
    QString code() const { return code_; }
    void setCode(const QString& value);
    QString identityCode1() const { return identityCode_[0]; }
    void setIdentityCode1(const QString& value) { setIdentityCode(0, value); }
    int identityCode1Length() const { return identityCodeLength_[0]; }
    void setIdentityCode1Length(int value) { setLength(0, value); }
    bool displayIdentityCode2() const { return displayIdentityCode_[1]; }
    void setDisplayIdentityCode2(bool value) { setDisplay(1, value); }
    QString identityCode2() const { return identityCode_[1]; }
    void setIdentityCode2(const QString& value) { setIdentityCode(1, value); }
    int identityCode2Length() const { return identityCodeLength_[1]; }
    void setIdentityCode2Length(int value) { setLength(1, value); }
    bool displayIdentityCode3() const { return displayIdentityCode_[2]; }
    void setDisplayIdentityCode3(bool value) { setDisplay(2, value); }
    QString identityCode3() const { return identityCode_[2]; }
    void setIdentityCode3(const QString& value) { setIdentityCode(2, value); }
    int identityCode3Length() const { return identityCodeLength_[2]; }
    void setIdentityCode3Length(int value) { setLength(2, value); }
    QString resultMask() const { return resultMask_; }
    void setResultMask(const QString& value);
    bool maskSuccess() const { return maskSuccess_; }
    void setMaskSuccess(bool value);

signals:
    void itemChanged();
    void identityCodeChanged();
    void resultMaskChanged();

public slots:
    void refreshResultMask();
    bool isValidIdentity() const;
    // Empties the three inputs and reruns the masks on them.
    void resetThisModel();

private:
    void setIdentityCode(int k, const QString& value);
    void setLength(int k, int value);
    void setDisplay(int k, bool value);

    const orvane::model::Hierarchy* hierarchy_;
    QString displayName_;
    QString code_;
    std::array<QString, 3> identityCode_;
    std::array<int, 3> identityCodeLength_{{0, 0, 0}};
    // The first input always shows; the others as the hierarchy has fields.
    std::array<bool, 3> displayIdentityCode_{{true, false, false}};
    QString resultMask_;
    bool maskSuccess_ = true;
    // The inputs with the masks' literals taken out: what the service gets.
    std::array<std::wstring, 3> parts_;
};
