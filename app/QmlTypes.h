#pragma once

// The presentation types the screens create themselves.
class QmlTypes {
public:
    // "HierarchyItemModel" of the module "hierarchyItemModel" 1.1. The start
    // calls it once, after the models exist and before the screens load.
    static void registerHierarchyItemModel();
};
