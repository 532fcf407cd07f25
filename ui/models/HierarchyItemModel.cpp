#include "ui/models/HierarchyItemModel.h"

#include "model/catalogue/Hierarchy.h"

#include <algorithm>
#include <vector>

using orvane::model::Hierarchy;
using orvane::model::IdentityKey;
using orvane::model::MaskedIdentity;

HierarchyItemModel::HierarchyItemModel(const Hierarchy* hierarchy, QObject* parent)
    : QObject(parent)
    , hierarchy_(hierarchy)
{
    if (hierarchy_) {
        displayName_ = QString::fromStdWString(hierarchy_->displayName);
        code_ = QString::fromStdWString(hierarchy_->code);
        // A hierarchy of more than three fields shows the first three.
        const std::size_t shown = std::min<std::size_t>(hierarchy_->fields.size(), 3);
        for (std::size_t k = 0; k < shown; ++k) {
            identityCodeLength_[k] = fieldWidth(hierarchy_->fields[k].mask);
            displayIdentityCode_[k] = true;
        }
        if (shown == 0)
            identityCodeLength_[0] = fieldWidth(std::wstring());
    }
    connect(this, &HierarchyItemModel::identityCodeChanged, this, &HierarchyItemModel::refreshResultMask);
}

int HierarchyItemModel::fieldWidth(const std::wstring& mask)
{
    if (mask.find(L'?') != std::wstring::npos)
        return 360;
    return std::max(static_cast<int>(mask.size()) * 18, 100);
}

IdentityKey HierarchyItemModel::identity() const
{
    IdentityKey key;
    key.identity = parts_[0];
    for (std::size_t k = 1; k < parts_.size(); ++k)
        if (!parts_[k].empty())
            key.identity += L'&' + parts_[k];
    key.hierarchyCode = code_.toStdWString();
    return key;
}

void HierarchyItemModel::refreshResultMask()
{
    if (!hierarchy_)
        return;
    std::vector<std::wstring> inputs{identityCode_[0].toStdWString()};
    for (std::size_t k = 1; k < identityCode_.size(); ++k)
        if (displayIdentityCode_[k])
            inputs.push_back(identityCode_[k].toStdWString());
    const MaskedIdentity masked = hierarchy_->applyMasks(inputs);
    parts_ = {};
    for (std::size_t k = 0; k < masked.parts.size() && k < parts_.size(); ++k)
        parts_[k] = masked.parts[k];
    // Both written at once and announced once: the screens read the pair.
    resultMask_ = QString::fromStdWString(masked.text);
    maskSuccess_ = masked.accepted;
    emit resultMaskChanged();
}

bool HierarchyItemModel::isValidIdentity() const
{
    if (!hierarchy_)
        return false;
    // All three parts, also for a hierarchy of fewer fields; an expression
    // the catalogue got wrong makes no identity valid instead of failing.
    try {
        return hierarchy_->matchesValidators({parts_[0], parts_[1], parts_[2]});
    } catch (const std::exception&) {
        return false;
    }
}

void HierarchyItemModel::resetThisModel()
{
    parts_ = {};
    for (QString& code : identityCode_)
        code.clear();
    emit identityCodeChanged();
}

void HierarchyItemModel::setDisplayName(const QString& value)
{
    if (displayName_ == value)
        return;
    displayName_ = value;
    emit itemChanged();
}

void HierarchyItemModel::setCode(const QString& value)
{
    if (code_ == value)
        return;
    code_ = value;
    emit itemChanged();
}

void HierarchyItemModel::setIdentityCode(int k, const QString& value)
{
    if (identityCode_[k] == value)
        return;
    identityCode_[k] = value;
    emit identityCodeChanged();
}

void HierarchyItemModel::setLength(int k, int value)
{
    if (identityCodeLength_[k] == value)
        return;
    identityCodeLength_[k] = value;
    emit itemChanged();
}

void HierarchyItemModel::setDisplay(int k, bool value)
{
    if (displayIdentityCode_[k] == value)
        return;
    displayIdentityCode_[k] = value;
    emit itemChanged();
}

void HierarchyItemModel::setResultMask(const QString& value)
{
    if (resultMask_ == value)
        return;
    resultMask_ = value;
    emit resultMaskChanged();
}

void HierarchyItemModel::setMaskSuccess(bool value)
{
    if (maskSuccess_ == value)
        return;
    maskSuccess_ = value;
    emit resultMaskChanged();
}
