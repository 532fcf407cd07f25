#include "ui/models/HierarchyListModel.h"

#include "model/identity/Orvane.h"
#include "ui/models/HierarchyItemModel.h"
#include "ui/models/VerificationConnectionServer.h"

#include <exception>
#include <vector>

using orvane::model::Hierarchy;

struct HierarchyListModel::Impl {
    // Made once and never resized: the items point into it.
    std::vector<Hierarchy> hierarchies;
    // Children of the list model, so they live as long as it does and the
    // screens never take ownership of one handed out by at().
    std::vector<HierarchyItemModel*> items;

    void fill(std::vector<Hierarchy> catalogue, QObject* owner)
    {
        hierarchies = std::move(catalogue);
        for (const Hierarchy& hierarchy : hierarchies)
            items.push_back(new HierarchyItemModel(&hierarchy, owner));
    }
};

namespace {

// The active installation's catalogue; empty when there is no aggregate or
// none of its installations fits the configured service.
std::vector<Hierarchy> activeCatalogue(Orvane* orvane)
{
    if (!orvane)
        return {};
    try {
        return orvane->kestrelInstallation().hierarchies.hierarchies;
    } catch (const std::exception&) {
        return {};
    }
}

} // namespace

HierarchyListModel::HierarchyListModel(VerificationConnectionServer* server, QObject* parent)
    : QAbstractListModel(parent)
    , d_(std::make_shared<Impl>())
{
    if (server)
        connect(this, &HierarchyListModel::offLineServer, server, &VerificationConnectionServer::setOffLine);
}

HierarchyListModel::~HierarchyListModel() = default;

int HierarchyListModel::rowCount(const QModelIndex& parent) const
{
    if (parent.isValid())
        return 0;
    if (d_->items.empty() && orvane_) {
        bool installed = false;
        try {
            installed = Orvane::hasInstallation();
        } catch (const std::exception&) {
            installed = false;  // an unreadable identity file lists nothing
        }
        if (installed)
            d_->fill(activeCatalogue(orvane_), const_cast<HierarchyListModel*>(this));
    }
    return static_cast<int>(d_->items.size());
}

QVariant HierarchyListModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() < 0 || static_cast<std::size_t>(index.row()) >= d_->items.size())
        return {};
    const HierarchyItemModel* item = d_->items[static_cast<std::size_t>(index.row())];
    switch (role) {
    case DisplayNameRole:
        return item->displayName();
    case CodeRole:
        return item->code();
    default:
        return {};
    }
}

QVariant HierarchyListModel::headerData(int, Qt::Orientation, int) const
{
    return QStringLiteral("Hierarquias");
}

QHash<int, QByteArray> HierarchyListModel::roleNames() const
{
    return {{DisplayNameRole, "displayName"}, {CodeRole, "code"}};
}

void HierarchyListModel::populateHierarchies()
{
    if (!d_->items.empty())
        return;
    std::vector<Hierarchy> catalogue = activeCatalogue(orvane_);
    if (catalogue.empty())
        return;
    // rowCount() makes the items: Qt calls it inside beginInsertRows()
    // already, and a fill of our own after it would make them a second time
    // and leave the first ones pointing into a replaced catalogue (the list
    // shown twice, and a search with no identity in it).
    beginInsertRows(QModelIndex(), 0, static_cast<int>(catalogue.size()) - 1);
    rowCount();
    endInsertRows();
}

void HierarchyListModel::resetThisModel()
{
    for (HierarchyItemModel* item : d_->items)
        item->resetThisModel();
    // Column 1 as the views have always been told; they refresh every row.
    const int count = static_cast<int>(d_->items.size());
    emit dataChanged(createIndex(0, 1), createIndex(count, 1));
}

HierarchyItemModel* HierarchyListModel::at(uint itemId)
{
    if (itemId >= static_cast<uint>(rowCount()))
        return nullptr;
    return d_->items[itemId];
}

void HierarchyListModel::setPtrOrvane(Orvane* ptrOrvane)
{
    orvane_ = ptrOrvane;
}
