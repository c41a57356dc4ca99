// SPDX-License-Identifier: Apache-2.0
// The status-report service: passes over the registered items.
#include "tqDevSDK_report_status.h"

#include "host_state.h"
#include "tqdev_debug.h"

using tqhost::ObservedCall;
using tqhost::State;

namespace tqhost {
namespace {

auto HasKey(UINT32 key) {
    return [=](const StatusItem &item) { return item.info.status_value == key; };
}

/// Items keep caches without a lock: the service asks one item at a time. Recursive, because a callback
/// may ask for a pass or a reset.
std::recursive_mutex g_service_mutex;

/// Why an item is to be reported whether it has changed or not.
struct Requests {
    bool force;
    bool due;
};

/// Takes what is requested of an item; nothing is, once it is no longer registered.
Requests TakeRequests(UINT32 key) {
    const Locked state;
    StatusItem *item = Find(state->status_items, HasKey(key));
    if (item == nullptr) {
        return {};
    }
    const Requests requests{item->info.force_flag != 0, item->due};
    item->info.force_flag = 0;
    item->due = false;
    return requests;
}

void RequestAgain(UINT32 key, bool force) {
    const Locked state;
    if (StatusItem *item = Find(state->status_items, HasKey(key))) {
        item->info.force_flag |= force ? 1U : 0U;
        item->due = true;
    }
}

void PassItem(const tqDevSDK_report_status_info &item) {
    const int changed = item.status_is_changed == nullptr ? 0 : item.status_is_changed();
    if (changed == -1) {
        tqdev_debug(LOG_ERROR, "Failed to ask status %u.\n", item.status_value);
        return;
    }

    // Taken before the report: a force that comes while it runs counts for the next pass.
    const Requests requests = TakeRequests(item.status_value);
    if ((changed != 1 && !requests.force && !requests.due) || item.report_status == nullptr) {
        return;
    }
    const int result = item.report_status(requests.force ? 1 : 0);
    if (result != 0) {
        RequestAgain(item.status_value, requests.force);
        tqdev_debug(LOG_ERROR, "Failed to report status %u, result %d.\n", item.status_value, result);
    }
}

} // namespace

void StatusPass() {
    const std::lock_guard<std::recursive_mutex> lock(g_service_mutex);
    for (const tqDevSDK_report_status_info &item : StatusItems()) {
        PassItem(item);
    }
}

std::optional<int> StatusReset(int key) {
    const std::lock_guard<std::recursive_mutex> lock(g_service_mutex);
    for (const tqDevSDK_report_status_info &item : StatusItems()) {
        if (item.status_value == static_cast<UINT32>(key)) {
            return item.status_reset == nullptr ? -1 : item.status_reset();
        }
    }
    return std::nullopt;
}

std::vector<tqDevSDK_report_status_info> StatusItems() {
    std::vector<tqDevSDK_report_status_info> items;
    const Locked state;
    for (const StatusItem &item : state->status_items) {
        items.push_back(item.info);
    }
    return items;
}

} // namespace tqhost

int tqDevSDK_report_status_init(const void * /*callback*/) {
    return ObservedCall(__func__, "", [](State &) { return 0; });
}

int tqDevSDK_report_status_register(const tqDevSDK_report_status_info *info) {
    if (info == nullptr) {
        return -1;
    }
    return ObservedCall(__func__, std::to_string(info->status_value), [&](State &state) {
        tqhost::Put(state.status_items, tqhost::HasKey(info->status_value), {*info, false});
        return 0;
    });
}

int tqDevSDK_report_status_unregister(const tqDevSDK_report_status_info *info) {
    if (info == nullptr) {
        return -1;
    }
    return ObservedCall(__func__, std::to_string(info->status_value), [&](State &state) {
        return tqhost::Remove(state.status_items, tqhost::HasKey(info->status_value));
    });
}

int tqDevSDK_report_status_fini(void) {
    return ObservedCall(__func__, "", [](State &state) {
        state.status_items.clear();
        return 0;
    });
}

int tqDevSDK_report_set_force_report(int status_key) {
    return ObservedCall(__func__, std::to_string(status_key), [&](State &state) {
        tqhost::StatusItem *item =
            tqhost::Find(state.status_items, tqhost::HasKey(static_cast<UINT32>(status_key)));
        if (item == nullptr) {
            return -1;
        }
        item->info.force_flag = 1;
        return 0;
    });
}
