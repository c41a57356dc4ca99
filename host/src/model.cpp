// SPDX-License-Identifier: Apache-2.0
// The model layer: requests, replies and reports of domains.
#include "tq_model.h"

#include "host_state.h"

using tqhost::FieldText;

namespace {

auto IsFor(const std::string &domain, const std::string &identifier) {
    return [=](const tq_domain_reg &reg) {
        return FieldText(reg.domain) == domain && FieldText(reg.identifier) == identifier;
    };
}

std::string RegistrationText(const std::string &domain, const std::string &identifier) {
    return identifier.empty() ? domain : domain + " " + identifier;
}

} // namespace

int tq_model_domain_reg(const tq_domain_reg *reg) {
    if (reg == nullptr) {
        return -1;
    }
    const std::string domain = FieldText(reg->domain);
    const std::string identifier = FieldText(reg->identifier);
    return tqhost::ObservedCall(__func__, RegistrationText(domain, identifier), [&](tqhost::State &state) {
        tqhost::Put(state.model_domains, IsFor(domain, identifier), *reg);
        return 0;
    });
}

int tq_model_domain_dereg(const char *domain, const char *identifier) {
    if (domain == nullptr) {
        return -1;
    }
    const std::string name = domain;
    const std::string item = identifier == nullptr ? "" : identifier;
    return tqhost::ObservedCall(__func__, RegistrationText(name, item), [&](tqhost::State &state) {
        return tqhost::Remove(state.model_domains, IsFor(name, item));
    });
}

int tq_model_reply_to_das(const tq_basic_info *info, const tq_model_msg *msg, const tq_err_info *err,
                          const tq_msg_attr *attr) {
    if (info == nullptr || msg == nullptr || err == nullptr || attr == nullptr) {
        return -1;
    }
    const int result = tqhost::TakeFailure(__func__);
    if (result == 0) {
        tqhost::ModelReply reply{*info, *msg, std::nullopt, *err, *attr};
        if (msg->value != nullptr) {
            reply.text = msg->value;
        }
        reply.info.mul_context = nullptr;
        reply.message.value = nullptr;
        tqhost::Notify(reply);
    }
    return result;
}

int tq_model_send_to_platform(const tq_basic_info *info, const char *text, int length, int option,
                              const tq_msg_attr *attr) {
    if (info == nullptr || attr == nullptr || length < 0) {
        return -1;
    }
    const int result = tqhost::TakeFailure(__func__);
    if (result == 0) {
        tqhost::ModelReport report{*info, {}, option, *attr};
        if (text != nullptr) {
            report.text.assign(text, static_cast<std::size_t>(length));
        }
        report.info.mul_context = nullptr;
        tqhost::Notify(report);
    }
    return result;
}

namespace tqhost {
namespace {

/// What a router receives of a message; the text lives as long as this does.
struct Incoming {
    explicit Incoming(const ModelMessage &message) {
        info.type = message.type;
        SetField(info.resource_id, message.resource_id);
        SetField(info.resource_type, message.resource_type);
        SetField(info.domain, message.domain);
        SetField(info.identifier, message.identifier);
        msg.type = message.value_type;
        const bool carries_text = msg.type == model_data_type_string || msg.type == model_data_type_array ||
                                  msg.type == model_data_type_object;
        if (carries_text && message.text) {
            text = ExactCopy(*message.text);
            msg.value = text.get();
            msg.length = static_cast<int>(strlen(text.get()));
        }
    }

    tq_basic_info info{};
    tq_model_msg msg = tq_model_msg(); // All of the union is zero, which {} does not promise.
    std::unique_ptr<char[]> text;
};

/// The routers for an identifier: its own before those that receive every identifier.
std::optional<tq_domain_reg> Routers(const std::string &domain, const std::string &identifier) {
    const Locked state;
    const tq_domain_reg *reg = Find(state->model_domains, IsFor(domain, identifier));
    if (reg == nullptr) {
        reg = Find(state->model_domains, IsFor(domain, ""));
    }
    return reg == nullptr ? std::nullopt : std::optional(*reg);
}

} // namespace

std::optional<int> DeliverModelRequest(const ModelMessage &message) {
    const std::optional<tq_domain_reg> routers = Routers(message.domain, message.identifier);
    if (!routers || routers->das_req_router == nullptr) {
        return std::nullopt;
    }
    Incoming incoming(message);
    return routers->das_req_router(&incoming.info, message.msg_type.c_str(), &incoming.msg, message.seq, 0);
}

std::optional<int> DeliverModelReply(const ModelMessage &message) {
    const std::optional<tq_domain_reg> routers = Routers(message.domain, message.identifier);
    if (!routers || routers->das_reply_router == nullptr) {
        return std::nullopt;
    }
    Incoming incoming(message);
    tq_err_info status{};
    status.status = message.status;
    return routers->das_reply_router(&incoming.info, message.msg_type.c_str(), &status, &incoming.msg,
                                     message.seq, 0);
}

std::optional<tq_domain_reg> ModelDomain(const std::string &domain) {
    return Routers(domain, "");
}

} // namespace tqhost
