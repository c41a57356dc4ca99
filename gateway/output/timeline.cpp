// SPDX-License-Identifier: Apache-2.0
// The timeline: "platform → module    20034 capture    seq=7 body={…}".
#include "output/timeline.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include <nlohmann/json.hpp>

#include "lines/lines.h"
#include "output/printable.h"
#include "rules/clock.h"

namespace tqgateway {
namespace {

constexpr std::size_t kShownBytes = 1000; // of a message's fields; JSON Lines have them all
constexpr std::size_t kShownIdBytes = 100;
constexpr std::size_t kNameColumns = 30;

constexpr const char *kPlain = "";
constexpr const char *kBold = "\033[1m";
constexpr const char *kDim = "\033[2m";
constexpr const char *kRed = "\033[31m";
constexpr const char *kReset = "\033[0m";

/// Whom a line out with this key is from, and what stands before the key's value.
struct OutLabel {
    const char *key;
    const char *from;
    const char *label;
};

constexpr OutLabel kOutLabels[] = {
    {"command", "module", ""},       {"model", "module", "model "}, {"model_reply", "module", "reply "},
    {"shadow", "module", "shadow "}, {"msg", "module", ""},         {"dclog", "module", "dclog "},
    {"hub", "device", "state"},      {"host", "host", "state"},
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

/// What the linkage engine says; all else is plain.
struct SentenceColour {
    const char *what;
    const char *colour;
};

constexpr SentenceColour kSentenceColours[] = {
    {"fired", kBold},  {"fires", kBold}, {"held", kDim},       {"misses", kDim},
    {"unheard", kDim}, {"result", kDim}, {"unreported", kRed},
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

/// A value as JSON, the bytes of its texts as they are.
std::string ValueText(const Json &value) {
    if (value.is_string()) {
        std::string text = "\"";
        for (const char c : value.get_ref<const std::string &>()) {
            text += (c == '"' || c == '\\' ? "\\" : "") + std::string(1, c);
        }
        return text + '"';
    }
    if (!value.is_structured()) {
        return Dump(value);
    }
    std::string text;
    for (const auto &item : value.items()) {
        text += (text.empty() ? "" : ",") + (value.is_object() ? ValueText(item.key()) + ':' : "") +
                ValueText(item.value());
    }
    return value.is_object() ? '{' + text + '}' : '[' + text + ']';
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

/// "name=value" of all members but two and the id; with the text of an input, numbers and the like as they
/// are there.
std::string FieldsText(const Json &object, std::string_view written, const std::string &but,
                       const std::string &and_but) {
    std::string text;
    for (const auto &[key, value] : object.items()) {
        if (key == but || key == and_but || key == kId) {
            continue;
        }
        text += (text.empty() ? "" : " ") + key + '=';
        if (value.is_string()) {
            text += key == "body" || key == "value" ? PlainXml(AsText(value)) : ValueText(value);
        } else {
            text += written.empty() ? ValueText(value) : std::string(MemberText(written, key));
        }
    }
    return Clipped(text, kShownBytes);
}

class Timeline : public Sink {
public:
    Timeline(WriteLine write, bool coloured, bool timed)
        : write_(std::move(write)), coloured_(coloured), timed_(timed) {}

    void Echo(Input what, const Json &input, const std::string &text, Moment when) override {
        if (what == Input::refusal) {
            return; // its error says it all
        }
        Begin(input, when);
        if (const LineKind *kind = KindOf(input)) {
            Message(input, text, kind->key, kind->label, kind->from, kind->to);
        } else {
            Unknown(input);
        }
    }

    void Heading(const std::string &comment) override {
        write_("");
        write_(Painted(kBold, comment));
    }

    void Show(const Json &line, Moment when) override {
        Begin(line, when);
        if (line.contains("to")) {
            MessageOut(line);
        } else if (line.contains("log")) {
            Write(kDim, Row("log " + AsText(line["log"]), Clipped(AsText(line["text"]), kShownBytes)));
        } else if (line.contains("misuse")) {
            Write(kRed, Row("misuse " + AsText(line["misuse"]), AsText(line["text"])));
        } else if (line.contains("linkage")) {
            Linkage(line);
        } else if (line.contains("error")) {
            Write(kRed, Row("", "error: " + AsText(line["error"])));
        } else if (line.contains("check")) {
            for (const Json &finding : line["check"]) {
                Write(kRed, Row("", "check: " +
                                        Clipped(AsText(finding["class"]) + ' ' + AsText(finding["pointer"]) +
                                                    ": " + AsText(finding["text"]),
                                                kShownBytes)));
            }
        } else if (line["result"].is_null()) {
            Write(kDim, Row("", "done"));
        } else {
            Write(line["result"] == 0 ? kDim : kRed, Row("", "result " + Dump(line["result"])));
        }
    }

private:
    /// What stands around the row of a line.
    void Begin(const Json &line, Moment when) {
        time_ = timed_ ? Painted(kDim, MomentText(when)) + "  " : "";
        id_ = line.contains(kId) ? " id=" + Printable(Clipped(Dump(line[kId]), kShownIdBytes)) : "";
    }

    void Unknown(const Json &line) { Write(kPlain, Row("?", Clipped(AsText(line), kShownBytes))); }

    void MessageOut(const Json &line) {
        const auto out = std::find_if(std::begin(kOutLabels), std::end(kOutLabels),
                                      [&](const OutLabel &row) { return line.contains(row.key); });
        if (out == std::end(kOutLabels)) {
            Unknown(line);
        } else {
            Message(line, "", out->key, out->label, out->from, AsText(line["to"]));
        }
    }

    void Message(const Json &line, std::string_view text, const std::string &key, std::string name,
                 const std::string &from, const std::string &to) {
        const Json &value = line[key];
        if (key == "command") {
            name += CommandText(value);
        } else if (!value.is_object() && !value.is_boolean()) {
            name += AsText(value);
        }
        const std::string fields =
            value.is_object() ? FieldsText(value, text.empty() ? text : MemberText(text, key), "", "")
                              : FieldsText(line, text, key, "to");

        const auto arrow = std::find_if(std::begin(kArrows), std::end(kArrows),
                                        [&](const Arrow &row) { return from == row.from && to == row.to; });
        Write(
            arrow == std::end(kArrows) ? kPlain : arrow->colour,
            Row(Padded(from, 8) + " → " + Padded(to, 8), fields.empty() ? name : Padded(name, kNameColumns)),
            fields);
    }

    /// A sentence of the linkage engine, behind the moment where that is virtual.
    void Linkage(const Json &line) {
        const auto known =
            std::find_if(std::begin(kSentenceColours), std::end(kSentenceColours),
                         [&](const SentenceColour &row) { return line["linkage"] == row.what; });
        std::string fields;
        if (line.contains("stAction")) {
            fields = " token=" + Dump(line["token"]) + ' ' + FieldsText(line["stAction"], "", "", "");
        }
        Write(known == std::end(kSentenceColours) ? kPlain : known->colour,
              Row(line.contains("at") ? CivilForPeople(ReadCivil(line["at"], "at")) : "linkage",
                  AsText(line["text"])),
              fields);
    }

    static std::string Row(const std::string &left, const std::string &right) {
        const std::size_t arrow_extra = left.find("→") == std::string::npos ? 0 : 2; // bytes beyond columns
        return Padded(left, 19 + arrow_extra) + "  " + right;
    }

    void Write(const char *colour, const std::string &text, const std::string &rest = {}) {
        write_(time_ + Painted(colour, text) + (rest.empty() ? "" : ' ' + Printable(rest)) + id_);
    }

    /// Nothing from outside gets past Printable.
    std::string Painted(const char *colour, const std::string &text) const {
        const std::string shown = Printable(text);
        return coloured_ && *colour != '\0' ? colour + shown + kReset : shown;
    }

    WriteLine write_;
    bool coloured_;
    bool timed_;
    std::string time_;
    std::string id_;
};

} // namespace

std::unique_ptr<Sink> MakeTimeline(WriteLine write, bool coloured, bool timed) {
    return std::make_unique<Timeline>(std::move(write), coloured, timed);
}

Json CommandNames() {
    Json names = Json::object();
    for (const CommandName &row : kCommandNames) {
        names[std::to_string(row.request)] = row.name;
        names[std::to_string(row.request + 1)] = row.name + std::string(" reply");
    }
    return names;
}

std::string DroppedText(std::size_t lines) {
    return "... " + std::to_string(lines) + (lines == 1 ? " line" : " lines") +
           " left out: the reader stood still";
}

} // namespace tqgateway
