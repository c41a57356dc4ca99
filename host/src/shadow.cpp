// SPDX-License-Identifier: Apache-2.0
// The shadow service, both generations: values that are wanted, delivered and reported.
#include "tqDevSDK_Shadow.h"

#include <string_view>

#include <sys/mman.h>

#include "host_state.h"
#include "tqdev_debug.h"

using tqhost::FieldText;
using tqhost::ShadowKey;
using tqhost::State;

namespace tqhost {
namespace {

/// Room for one generated value. Each value has a mapping of its own, so that generation needs no lock
/// and costs memory only while it runs, and only for the pages written.
class ValueBuffer {
public:
    ValueBuffer()
        : data_(mmap(nullptr, kShadowCapacity, PROT_READ | PROT_WRITE,
                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {}
    ~ValueBuffer() {
        if (Mapped()) {
            munmap(data_, kShadowCapacity);
        }
    }
    ValueBuffer(const ValueBuffer &) = delete;
    ValueBuffer &operator=(const ValueBuffer &) = delete;

    bool Mapped() const { return data_ != MAP_FAILED; }
    char *Data() const { return static_cast<char *>(data_); }

private:
    void *data_;
};

auto HasKey(const std::string &key) {
    return [=](const ShadowEntry &entry) { return entry.key.key == key; };
}

auto BelongsTo(const std::string &owner) {
    return [=](const ShadowEntry &entry) { return entry.key.owner == owner; };
}

/// Registers keys. One that is known already keeps its values and moves to the new registration.
int PutKeys(State &state, const std::vector<ShadowKey> &keys) {
    for (const ShadowKey &key : keys) {
        if (ShadowEntry *known = Find(state.shadow_entries, HasKey(key.key))) {
            known->key = key;
            known->owed = key.reset_report_all;
        } else {
            state.shadow_entries.push_back({key, {}, false, key.reset_report_all});
        }
    }
    return 0;
}

std::optional<ShadowKey> Key(const std::string &key) {
    const Locked state;
    const ShadowEntry *entry = Find(state->shadow_entries, HasKey(key));
    return entry == nullptr ? std::nullopt : std::optional(entry->key);
}

const void *Resource(const ShadowKey &key) {
    return key.service_v3 == nullptr ? nullptr : &key.resource;
}

const int8_t *Bytes(const std::string &text) {
    return reinterpret_cast<const int8_t *>(text.c_str());
}

/// By the first character that counts for the JSON library, which skips a byte order mark and all characters
/// up to the blank.
tqDevSDK_Shadow_data_type_t TypeOf(const std::string &text) {
    constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
    std::size_t first =
        text.compare(0, kByteOrderMark.size(), kByteOrderMark) == 0 ? kByteOrderMark.size() : 0;
    while (text[first] > '\0' && text[first] <= ' ') {
        ++first;
    }
    switch (text[first]) {
    case '[':
        return shd_data_type_array;
    case '{':
        return shd_data_type_object;
    default:
        return shd_data_type_string;
    }
}

/// Gives the desired value to the device.
int Deliver(const ShadowKey &key, const std::string &text) {
    if (key.parse == nullptr) {
        return -1;
    }
    const std::unique_ptr<char[]> copy = ExactCopy(text);
    tqDevSDK_Shadow_value_t value = tqDevSDK_Shadow_value_t();
    value.type = TypeOf(text);
    value.length = static_cast<int32_t>(text.size());
    value.value = copy.get();
    tqDevSDK_Shadow_ParseSync_Param_S param{Resource(key), Bytes(key.domain), Bytes(key.key)};
    return key.parse(&value, &param);
}

/// Asks the device for its value; the result, and the report when it is 0.
int Generate(const ShadowKey &key, ShadowReport &report) {
    const ValueBuffer buffer;
    if (key.generate == nullptr || !buffer.Mapped()) {
        tqdev_debug(LOG_ERROR, "Shadow %s: no callback or no memory.\n", key.key.c_str());
        return -1;
    }
    tqDevSDK_Shadow_value_t value = tqDevSDK_Shadow_value_t();
    value.value = buffer.Data();
    tqDevSDK_Shadow_GenValue_Param_S param{};
    param.pres = Resource(key);
    param.pdomain = Bytes(key.domain);
    param.pkey = Bytes(key.key);
    const int result = key.generate(&value, &param);
    if (result != 0) {
        tqdev_debug(LOG_ERROR, "Shadow %s: no value from the device, result %d.\n", key.key.c_str(), result);
        return result;
    }

    const std::size_t capacity = Locked()->shadow_capacity;
    if (value.length < 0 || static_cast<std::size_t>(value.length) > capacity) {
        tqdev_debug(LOG_ERROR, "Shadow %s: a value of %d bytes does not fit.\n", key.key.c_str(),
                    value.length);
        return -1;
    }
    if (param.ucRstType != tqDevSDK_Shadow_GenValue_Type_Total) {
        tqdev_debug(LOG_ERROR, "Shadow %s: only total values are taken.\n", key.key.c_str());
        return -1;
    }
    report = {key.key, param.uiVersion, param.ucRstType, value.type,
              std::string(buffer.Data(), static_cast<std::size_t>(value.length))};
    return 0;
}

/// Makes a generated value the reported one.
void Store(const ShadowReport &report) {
    const Locked state;
    ShadowEntry *entry = Find(state->shadow_entries, HasKey(report.key));
    if (entry == nullptr) {
        return;
    }
    entry->owed = false;
    entry->value.reported = report.text;
    entry->value.reported_version = report.version;
    ++entry->value.reports;
    if (tqDevSDK_Shadow_Service_S *service = entry->key.service) {
        service->usVersion = report.version;
        ++service->usMsg_seq;
    }
}

} // namespace

void SetShadowCapacity(std::size_t bytes) {
    Locked()->shadow_capacity = std::min(bytes, kShadowCapacity);
}

std::optional<int> ShadowDesire(const std::string &key, const std::string &text) {
    ShadowKey registered;
    UINT32 version = 0;
    {
        const Locked state;
        ShadowEntry *entry = Find(state->shadow_entries, HasKey(key));
        if (entry == nullptr) {
            return std::nullopt;
        }
        if (entry->value.desired_version == 0 || entry->value.desired != text) {
            entry->value.desired = text;
            ++entry->value.desired_version;
            entry->accepted = false;
        }
        if (entry->accepted) {
            return 0;
        }
        registered = entry->key;
        version = entry->value.desired_version;
    }

    const int result = Deliver(registered, text);
    if (result != 0) {
        tqdev_debug(LOG_ERROR, "Shadow %s: the device refuses the value, result %d.\n", key.c_str(), result);
        return result;
    }
    const Locked state;
    ShadowEntry *entry = Find(state->shadow_entries, HasKey(key));
    if (entry != nullptr && entry->value.desired_version == version) {
        entry->accepted = true;
    }
    return 0;
}

std::optional<int> ShadowGet(const std::string &key) {
    const std::optional<ShadowKey> registered = Key(key);
    if (!registered) {
        return std::nullopt;
    }
    ShadowReport report;
    const int result = Generate(*registered, report);
    if (result == 0) {
        Store(report);
        Notify(report);
    }
    return result;
}

void ShadowReportOwed() {
    std::vector<std::string> owed;
    {
        const Locked state;
        for (const ShadowEntry &entry : state->shadow_entries) {
            if (entry.owed) {
                owed.push_back(entry.key.key);
            }
        }
    }
    for (const std::string &key : owed) {
        ShadowGet(key);
    }
}

std::optional<ShadowValue> Shadow(const std::string &key) {
    const Locked state;
    const ShadowEntry *entry = Find(state->shadow_entries, HasKey(key));
    return entry == nullptr ? std::nullopt : std::optional(entry->value);
}

const tqDevSDK_Shadow_Service_S *ShadowService(const std::string &key) {
    const std::optional<ShadowKey> registered = Key(key);
    return registered ? registered->service : nullptr;
}

const tqDevSDK_Shadow_Service_S_v3 *ShadowServiceV3(const std::string &key) {
    const std::optional<ShadowKey> registered = Key(key);
    return registered ? registered->service_v3 : nullptr;
}

} // namespace tqhost

/// Names a version-3 registration: resource and domain.
static std::string OwnerText(const tqDevSDK_Shadow_Res_t &res, const char *domain) {
    return FieldText(res.dev_serial) + " " + FieldText(res.res_type) + " " + std::to_string(res.local_index) +
           " " + domain;
}

int tqDevSDK_Shadow_DomainReg(UINT32 domain, const tqDevSDK_Shadow_DomainReg_S *reg) {
    if (reg == nullptr || reg->pstSrvList == nullptr) {
        return -1;
    }
    const std::string owner = std::to_string(domain);
    std::string arguments = owner;
    std::vector<ShadowKey> keys;
    for (UINT16 i = 0; i < reg->usNum; ++i) {
        tqDevSDK_Shadow_Service_S &service = reg->pstSrvList[i];
        ShadowKey key{};
        key.key = FieldText(service.acKey);
        key.owner = owner;
        key.domain = owner;
        key.service = &service;
        key.parse = service.parse_sync;
        key.generate = service.gen_value_JsStr;
        key.reset_report_all = service.usResetReportAll != 0;
        arguments += " " + key.key;
        keys.push_back(key);
    }
    return tqhost::ObservedCall(__func__, arguments,
                                [&](State &state) { return tqhost::PutKeys(state, keys); });
}

int tqDevSDK_Shadow_DomainDereg(UINT32 domain) {
    const std::string owner = std::to_string(domain);
    return tqhost::ObservedCall(__func__, owner, [&](State &state) {
        return tqhost::Remove(state.shadow_entries, tqhost::BelongsTo(owner));
    });
}

int tqDevSDK_Shadow_DomainReg_v3(const tqDevSDK_Shadow_Res_t *res, const char *domain,
                                 const tqDevSDK_Shadow_DomainReg_V3_S *reg) {
    if (res == nullptr || domain == nullptr || reg == nullptr || reg->business == nullptr) {
        return -1;
    }
    const std::string owner = OwnerText(*res, domain);
    std::string arguments = owner;
    std::vector<ShadowKey> keys;
    for (int i = 0; i < reg->num; ++i) {
        tqDevSDK_Shadow_Service_S_v3 &service = reg->business[i];
        ShadowKey key{};
        key.key = FieldText(service.key);
        key.owner = owner;
        key.domain = domain;
        key.resource = *res;
        key.service_v3 = &service;
        key.parse = service.business2dev;
        key.generate = service.business2cloud;
        arguments += " " + key.key;
        keys.push_back(key);
    }
    return tqhost::ObservedCall(__func__, arguments,
                                [&](State &state) { return tqhost::PutKeys(state, keys); });
}

int tqDevSDK_Shadow_DomainDereg_v3(const tqDevSDK_Shadow_Res_t *res, const char *domain) {
    if (res == nullptr || domain == nullptr) {
        return -1;
    }
    const std::string owner = OwnerText(*res, domain);
    return tqhost::ObservedCall(__func__, owner, [&](State &state) {
        return tqhost::Remove(state.shadow_entries, tqhost::BelongsTo(owner));
    });
}

int tqDevSDK_Shadow_PushStatus_v3(const tqDevSDK_Shadow_Res_t *res, const char *domain,
                                  const tqDevSDK_Shadow_Service_S_v3 *service, int option) {
    if (res == nullptr || domain == nullptr || service == nullptr) {
        return -1;
    }
    const std::string key = FieldText(service->key);
    int result = tqhost::TakeFailure(__func__);
    tqhost::ShadowReport report;
    if (result == 0) {
        std::optional<ShadowKey> pushed = tqhost::Key(key);
        if (pushed) {
            pushed->generate = service->business2cloud;
            pushed->resource = *res;
            pushed->domain = domain;
        }
        result = pushed ? tqhost::Generate(*pushed, report) : -1;
    }
    const bool reported = result == 0;
    if (reported) {
        tqhost::Store(report);
    }
    tqhost::Notify(
        tqhost::Call{__func__, OwnerText(*res, domain) + " " + key + " " + std::to_string(option), result});
    if (reported) {
        tqhost::Notify(report);
    }
    return result;
}
