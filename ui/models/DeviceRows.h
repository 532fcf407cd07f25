#pragma once

#include "model/kestrel/DeviceEntry.h"

#include <functional>
#include <vector>

// The phones a search found and the rows a device list shows of them, each
// with whether it is ticked and whether it may be ticked. A row holds its
// own copy of the phone, so a new search never leaves a row pointing into a
// list that has changed.
class DeviceRows {
public:
    struct Row {
        orvane::model::DeviceEntry device;
        bool markToSync = false;
        bool enabledItem = true;
    };

    std::vector<orvane::model::DeviceEntry> found;

    int count() const { return static_cast<int>(rows_.size()); }
    bool empty() const { return rows_.empty(); }
    // The row at `index`, or null outside the list: the views' guesses and a
    // stale index from a screen never reach past the rows.
    Row* at(int index);
    const Row* at(int index) const;
    std::vector<Row>& all() { return rows_; }

    // One row per found phone, in order, as `rowFor` makes it.
    void rebuild(const std::function<Row(const orvane::model::DeviceEntry&)>& rowFor);
    // The phones ticked, and with `enabledOnly` only those that may be.
    std::vector<orvane::model::DeviceEntry> ticked(bool enabledOnly) const;

private:
    std::vector<Row> rows_;
};
