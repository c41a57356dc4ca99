// SPDX-License-Identifier: Apache-2.0
// The timeline: "platform → module    20034 capture    seq=7 body={…}".
#include "output.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include <nlohmann/json.hpp>

namespace tqgateway {
namespace {

constexpr std::size_t kShownBytes = 1000; // of a message's fields; JSON Lines have them all
constexpr std::size_t kNameColumns = 30;

constexpr const char *kPlain = "";
constexpr const char *kBold = "\033[1m";
constexpr const char *kDim = "\033[2m";
constexpr const char *kRed = "\033[31m";
constexpr const char *kReset = "\033[0m";

/// How a line with this key is shown. Lines out go from the module to what their "to" says.
struct Look {
    const char *key;
    const char *label; ///< Before the key's value.
    const char *from;
    const char *to;
};

constexpr Look kLooks[] = {
    {"command", "", "platform", "module"},
    {"set", "set ", "platform", "module"},
    {"model", "model ", "platform", "module"},
    {"model_reply", "reply ", "platform", "module"},
    {"shadow", "shadow ", "platform", "module"},
    {"shadow_get", "get ", "platform", "module"},
    {"kernel_event", "event ", "host", "module"},
    {"status_pass", "status pass", "host", "module"},
    {"status_reset", "status reset ", "host", "module"},
    {"report", "report ", "device", "module"},
    {"hub", "change", "you", "device"},
    {"host", "change", "you", "host"},
    {"msg", "", "module", "device"},
    {"dclog", "dclog ", "module", "platform"},
};

struct Arrow {
    const char *from;
    const char *to;
    const char *colour;
};

constexpr Arrow kArrows[] = {
    {"platform", "module", "\033[36m"},
    {"module", "device", "\033[32m"},
    {"device", "module", "\033[35m"},
    {"module", "platform", "\033[33m"},
};

/// A reply is the request's number plus one.
struct CommandName {
    int request;
    const char *name;
};

constexpr CommandName kCommandNames[] = {
    {12382, "setting"},           {18829, "set value"},  {19986, "event"},        {19988, "action result"},
    {19990, "undone actions"},    {19992, "LAN center"}, {20034, "capture"},      {20036, "video"},
    {20038, "capture and video"}, {20040, "sleep"},      {20058, "chime signal"}, {20064, "chime alarm"},
};

std::string CommandText(const Json &number) {
    for (const CommandName &row : kCommandNames) {
        if (number == row.request) {
            return Dump(number) + ' ' + row.name;
        }
        if (number == row.request + 1) {
            return Dump(number) + ' ' + row.name + " reply";
        }
    }
    return AsText(number);
}

/// Control characters escaped, so that a message cannot steer the terminal or break its line.
std::string Printable(const std::string &text) {
    std::string printable;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\n') {
            printable += "\\n";
        } else if (c == '\t') {
            printable += "\\t";
        } else if (byte < 0x20 || byte == 0x7f) {
            printable += '?';
        } else {
            printable += c;
        }
    }
    return printable;
}

/// An XML document without its declaration, its attributes as they were before they were quoted.
std::string PlainXml(std::string text) {
    if (text.rfind("<?xml", 0) != 0) {
        return text;
    }
    text.erase(0, std::min(text.find("?>"), text.size() - 2) + 2);
    for (const auto &[quoted, plain] :
         {std::pair("&#10;", ""), {"&#09;", ""}, {"&quot;", "\""}, {"\n", ""}}) {
        for (std::size_t at = 0; (at = text.find(quoted, at)) != std::string::npos;) {
            text.replace(at, strlen(quoted), plain);
        }
    }
    return text;
}

std::string Padded(std::string text, std::size_t columns) {
    text.resize(std::max(text.size(), columns), ' ');
    return text;
}

/// "name=value" of all members but two.
std::string FieldsText(const Json &object, const std::string &but, const std::string &and_but) {
    std::string text;
    for (const auto &member : object.items()) {
        if (member.key() == but || member.key() == and_but) {
            continue;
        }
        const bool plain = member.key() == "body" || member.key() == "value";
        text += (text.empty() ? "" : " ") + Printable(member.key()) + '=';
        text += plain ? Printable(PlainXml(AsText(member.value()))) : Dump(member.value());
    }
    return Clipped(text, kShownBytes);
}

class Timeline : public Sink {
public:
    Timeline(LineWriter &writer, bool coloured) : writer_(writer), coloured_(coloured) {}

    void Echo(Input what, const Json &input) override {
        if (what != Input::refusal) { // whose error says it all
            Message(input, nullptr);
        }
    }

    void Heading(const std::string &comment) override {
        writer_.Write("");
        Write(kBold, Printable(comment));
    }

    void Show(const Json &line) override {
        if (line.contains("to")) {
            Message(line, AsText(line["to"]).c_str());
        } else if (line.contains("log")) {
            Write(kDim,
                  Row("log " + AsText(line["log"]), Clipped(Printable(AsText(line["text"])), kShownBytes)));
        } else if (line.contains("error")) {
            Write(kRed, Row("", "error: " + Printable(AsText(line["error"]))));
        } else if (line["result"].is_null()) {
            Write(kDim, Row("", "done"));
        } else {
            Write(line["result"] == 0 ? kDim : kRed, Row("", "result " + Dump(line["result"])));
        }
    }

private:
    /// A message; `to` is null for a line in.
    void Message(const Json &line, const char *to) {
        const auto look = std::find_if(std::begin(kLooks), std::end(kLooks),
                                       [&](const Look &row) { return line.contains(row.key); });
        if (look == std::end(kLooks)) {
            Write(kPlain, Row("?", Clipped(Printable(AsText(line)), kShownBytes)));
            return;
        }
        const std::string from = to == nullptr ? look->from : "module";
        const std::string towards = to == nullptr ? look->to : to;
        const Json &value = line[look->key];
        std::string name = look->label;
        if (look->key == std::string("command")) {
            name += CommandText(value);
        } else if (!value.is_object() && !value.is_boolean()) {
            name += Printable(AsText(value));
        }
        const std::string fields =
            value.is_object() ? FieldsText(value, "", "") : FieldsText(line, look->key, "to");

        const auto arrow = std::find_if(std::begin(kArrows), std::end(kArrows), [&](const Arrow &row) {
            return from == row.from && towards == row.to;
        });
        Write(arrow == std::end(kArrows) ? kPlain : arrow->colour,
              Row(Padded(from, 8) + " → " + Padded(towards, 8),
                  fields.empty() ? name : Padded(name, kNameColumns)),
              fields);
    }

    static std::string Row(const std::string &left, const std::string &right) {
        const std::size_t arrow_extra = left.find("→") == std::string::npos ? 0 : 2; // bytes beyond columns
        return Padded(left, 19 + arrow_extra) + "  " + right;
    }

    void Write(const char *colour, const std::string &text, const std::string &rest = {}) {
        const bool paint = coloured_ && *colour != '\0';
        writer_.Write((paint ? colour + text + kReset : text) + (rest.empty() ? "" : ' ' + rest));
    }

    LineWriter &writer_;
    bool coloured_;
};

} // namespace

std::unique_ptr<Sink> MakeTimeline(LineWriter &writer, bool coloured) {
    return std::make_unique<Timeline>(writer, coloured);
}

} // namespace tqgateway
