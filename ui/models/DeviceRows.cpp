#include "ui/models/DeviceRows.h"

using orvane::model::DeviceEntry;

DeviceRows::Row* DeviceRows::at(int index)
{
    return index >= 0 && index < count() ? &rows_[static_cast<std::size_t>(index)] : nullptr;
}

const DeviceRows::Row* DeviceRows::at(int index) const
{
    return index >= 0 && index < count() ? &rows_[static_cast<std::size_t>(index)] : nullptr;
}

void DeviceRows::rebuild(const std::function<Row(const DeviceEntry&)>& rowFor)
{
    rows_.clear();
    for (const DeviceEntry& device : found)
        rows_.push_back(rowFor(device));
}

std::vector<DeviceEntry> DeviceRows::ticked(bool enabledOnly) const
{
    std::vector<DeviceEntry> devices;
    for (const Row& row : rows_)
        if (row.markToSync && (row.enabledItem || !enabledOnly))
            devices.push_back(row.device);
    return devices;
}
