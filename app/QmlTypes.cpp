#include "app/QmlTypes.h"

#include "ui/models/HierarchyItemModel.h"

#include <QtQml>

void QmlTypes::registerHierarchyItemModel()
{
    qmlRegisterType<HierarchyItemModel>("hierarchyItemModel", 1, 1, "HierarchyItemModel");
}
