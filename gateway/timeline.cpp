// SPDX-License-Identifier: Apache-2.0
// The timeline: "platform → module    20034 capture    seq=7 body={…}".
#include "timeline.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include <nlohmann/json.hpp>

#include "lines.h"

namespace tqgateway {
namespace {

constexpr std::size_t kShownBytes = 1000; // of a message's fields; JSON Lines have them all
constexpr std::size_t kNameColumns = 30;

constexpr const char *kPlain = "";
constexpr const char *kBold = "\033[1m";
constexpr const char *kDim = "\033[2m";
constexpr const char *kRed = "\033[31m";
constexpr const char *kReset = "\033[0m";

/// What stands before the value of a key that a line out is known by.
struct OutLabel {
    const char *key;
    const char *label;
};

constexpr OutLabel kOutLabels[] = {
    {"command", ""},       {"model", "model "}, {"model_reply", "reply "},
    {"shadow", "shadow "}, {"msg", ""},         {"dclog", "dclog "},
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
        if (what == Input::refusal) {
            return; // its error says it all
        }
        if (const LineKind *kind = KindOf(input)) {
            Message(input, kind->key, kind->label, kind->from, kind->to);
        } else {
            Unknown(input);
        }
    }

    void Heading(const std::string &comment) override {
        writer_.Write("");
        Write(kBold, Printable(comment));
    }

    void Show(const Json &line) override {
        if (line.contains("to")) {
            MessageOut(line);
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
    void Unknown(const Json &line) { Write(kPlain, Row("?", Clipped(Printable(AsText(line)), kShownBytes))); }

    void MessageOut(const Json &line) {
        const auto out = std::find_if(std::begin(kOutLabels), std::end(kOutLabels),
                                      [&](const OutLabel &row) { return line.contains(row.key); });
        if (out == std::end(kOutLabels)) {
            Unknown(line);
        } else {
            Message(line, out->key, out->label, "module", AsText(line["to"]));
        }
    }

    void Message(const Json &line, const std::string &key, std::string name, const std::string &from,
                 const std::string &to) {
        const Json &value = line[key];
        if (key == "command") {
            name += CommandText(value);
        } else if (!value.is_object() && !value.is_boolean()) {
            name += Printable(AsText(value));
        }
        const std::string fields =
            value.is_object() ? FieldsText(value, "", "") : FieldsText(line, key, "to");

        const auto arrow = std::find_if(std::begin(kArrows), std::end(kArrows),
                                        [&](const Arrow &row) { return from == row.from && to == row.to; });
        Write(
            arrow == std::end(kArrows) ? kPlain : arrow->colour,
            Row(Padded(from, 8) + " → " + Padded(to, 8), fields.empty() ? name : Padded(name, kNameColumns)),
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
