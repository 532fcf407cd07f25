#pragma once

#include <QAbstractListModel>

#include <memory>

namespace orvane::model { class Orvane; }
using orvane::model::Orvane;

class HierarchyItemModel;
class VerificationConnectionServer;

// The hierarchies of the active Kestrel installation's catalogue, for the
// left column of the forms that look a person up; each row is the live form
// of one hierarchy. The rows are made on first need and kept: the inputs a
// person typed survive a change of the chosen hierarchy.
class HierarchyListModel : public QAbstractListModel {
    Q_OBJECT

public:
    enum Roles { DisplayNameRole = Qt::UserRole + 1, CodeRole };

    explicit HierarchyListModel(VerificationConnectionServer* server, QObject* parent = nullptr);
    ~HierarchyListModel() override;

    // Fills the list when it is still empty and an installation exists, so
    // the first look of a view creates the rows.
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    // After the first registration the view already exists with no rows:
    // announces and makes the rows of the new installation's catalogue.
    void populateHierarchies();

signals:
    // Never emitted: nothing here calls a service.
    void offLineServer(bool offline);

public slots:
    // Empties every form.
    void resetThisModel();
    // The form of row `itemId`, or null when there is no such row.
    HierarchyItemModel* at(uint itemId);
    void setPtrOrvane(Orvane* ptrOrvane);

private:
    struct Impl;
    // Shared so the lazy fill of the const rowCount can change it.
    std::shared_ptr<Impl> d_;
    Orvane* orvane_ = nullptr;
};
