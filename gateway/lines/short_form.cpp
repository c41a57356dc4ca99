// SPDX-License-Identifier: Apache-2.0
// From words to a line, and from the beginning of a word to its end.
#include "lines/short_form.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

#include <nlohmann/json.hpp>

#include "input/script.h"
#include "lines/lines.h"
#include "lines/reference.h"
#include "output/output.h"

namespace tqgateway {
namespace {

constexpr std::size_t kNearest = 5; // words shown for one that is not known

std::vector<std::string> NamesOf(const LineKind &kind) {
    return kind.names == nullptr ? std::vector<std::string>() : kind.names();
}

/// The words of a text: what blanks part, save those within quotes and brackets.
std::vector<std::string> Words(const std::string &text) {
    std::vector<std::string> words;
    std::string word;
    std::size_t depth = 0;
    bool quoted = false;
    const auto end_word = [&] {
        if (!word.empty()) {
            words.push_back(std::exchange(word, {}));
        }
    };
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (!quoted && depth == 0 && (c == ' ' || c == '\t')) {
            end_word();
            continue;
        }
        word += c;
        if (c == '\\' && quoted && i + 1 < text.size()) {
            word += text[++i];
        } else if (c == '"') {
            quoted = !quoted;
        } else if (!quoted && (c == '{' || c == '[')) {
            ++depth;
        } else if (!quoted && (c == '}' || c == ']') && depth > 0) {
            --depth;
        }
    }
    end_word();
    return words;
}

/// A value as it is typed, where the line has another so far, or null.
Json ValueOf(const std::string &word, const Json &before) {
    if (before.is_string() && word.front() != '"') {
        return word;
    }
    try {
        ParseJson(word);
        return Written(word);
    } catch (const LineError &) {
        return word;
    }
}

/// Has an object that was typed as a whole take members one by one; any other value stays as it is.
void Unfold(Json &value) {
    const std::string text = value.is_binary() ? Dump(value) : "";
    if (text.empty() || text.front() != '{') {
        return;
    }
    value = ParseJson(text);
    for (const auto &member : value.items()) {
        member.value() = Written(MemberText(text, member.key()));
    }
}

void SetMember(Json &line, const std::string &path, const std::string &word) {
    Json *member = &line;
    try {
        for (std::size_t begin = 0, end = 0; end < path.size(); begin = end + 1) {
            end = std::min(path.find('.', begin), path.size());
            Unfold(*member);
            member = &(*member)[Json::json_pointer('/' + path.substr(begin, end - begin))];
        }
    } catch (const Json::exception &) {
        throw LineError(path + ": not a place for a value");
    }
    *member = ValueOf(word, *member);
}

bool IsName(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

/// The kind with this key, else the only one that knows this as a value of its key. Throws LineError.
const LineKind &KindMeant(const std::string &word) {
    std::vector<const LineKind *> knowing;
    std::set<std::string> known;
    for (const LineKind &kind : LineKinds()) {
        if (word == kind.key) {
            return kind;
        }
        const std::vector<std::string> names = NamesOf(kind);
        if (std::find(names.begin(), names.end(), word) != names.end()) {
            knowing.push_back(&kind);
        }
        known.insert(kind.key);
        known.insert(names.begin(), names.end());
    }
    if (knowing.size() == 1) {
        return *knowing.front();
    }
    if (Script::KindOf({{word, nullptr}}) != nullptr) {
        throw LineError(word + ": is understood in scripts only");
    }
    if (knowing.empty()) {
        throw LineError(word + ": not known, " + Expected(word, {known.begin(), known.end()}, kNearest));
    }
    std::vector<std::string> keys;
    std::transform(knowing.begin(), knowing.end(), std::back_inserter(keys),
                   [](const LineKind *kind) { return kind->key; });
    throw LineError(word + ": of more than one kind, " + Expected("", keys) + " before it");
}

/// The line of a kind before anything is said: a sample, of a report and of what is nothing without all its
/// members, or the key alone. Takes the value of the key from the words, where they have to say it.
Json Beginning(const LineKind &kind, std::vector<std::string> &words) {
    for (const Topic &topic : Topics()) {
        if (!words.empty() && topic.heading == kind.key + (' ' + words.front())) {
            words.erase(words.begin());
            return ParseJson(topic.samples.front());
        }
    }
    const Json sample = ParseJson(*kind.samples.begin())[kind.key];
    if (sample.is_boolean() || kind.needs_all) {
        return {{kind.key, sample}};
    }
    if (sample.is_object()) {
        return {{kind.key, Json::object()}};
    }
    if (words.empty()) {
        throw LineError(std::string(kind.key) + ": a value is missing");
    }
    const std::string value = words.front();
    words.erase(words.begin());
    return {{kind.key, ValueOf(value, sample)}};
}

/// All keys of objects in a JSON value, however deep.
void CollectKeys(const Json &value, std::set<std::string> &keys) {
    for (const auto &item : value.items()) {
        if (value.is_object()) {
            keys.insert(item.key());
        }
        if (item.value().is_structured()) {
            CollectKeys(item.value(), keys);
        }
    }
}

/// The topic that a beginning of a line is about; null when it does not say so yet.
const Topic *TopicOf(const std::string &before, const std::vector<Topic> &topics) {
    const Topic *found = nullptr;
    for (std::size_t begin = 0; begin < before.size();) {
        const auto first =
            std::find_if(before.begin() + static_cast<std::ptrdiff_t>(begin), before.end(), IsName);
        const auto last = std::find_if_not(first, before.end(), IsName);
        const std::string word(first, last);
        const bool reports = found != nullptr; // a report is known by its kind
        if (const Topic *topic = FindTopic(topics, reports ? "report " + word : word)) {
            found = topic;
            if (reports || word != "report") {
                break;
            }
        }
        begin = static_cast<std::size_t>(last - before.begin());
    }
    return found;
}

/// What closes the quoted text in whose first word the beginning of a line ends: a quote, and behind a
/// member's name a colon. Empty when it ends elsewhere.
std::string EndOfQuoted(const std::string &json) {
    std::string open; // the brackets
    char last = '\0'; // the mark before the text
    bool quoted = false;
    for (std::size_t i = 0; i < json.size(); ++i) {
        const char c = json[i];
        if (c == '\\' && quoted) {
            ++i;
        } else if (c == '"') {
            quoted = !quoted;
        } else if (!quoted && (c == '{' || c == '[')) {
            open += c;
            last = c;
        } else if (!quoted && (c == '}' || c == ']') && !open.empty()) {
            open.pop_back();
            last = c;
        } else if (!quoted && (c == ',' || c == ':')) {
            last = c;
        }
    }
    if (!quoted || json[WordBegin(json) - 1] != '"') {
        return "";
    }
    const bool name = !open.empty() && open.back() == '{' && last != ':';
    return name ? "\":" : "\"";
}

} // namespace

std::string LineOf(const std::string &typed) {
    const std::size_t begin = typed.find_first_not_of(" \t\r");
    if (begin == std::string::npos || !IsName(typed[begin])) {
        return typed;
    }
    std::vector<std::string> words = Words(typed);
    const LineKind &kind = KindMeant(words.front());
    if (words.front() == kind.key) {
        words.erase(words.begin());
    }
    Json line = Beginning(kind, words);
    Json &members = line[kind.key].is_object() ? line[kind.key] : line;
    for (const std::string &word : words) {
        const std::size_t equals = word.find('=');
        const bool named = equals != std::string::npos && IsName(word[0]);
        if (named) {
            SetMember(members, word.substr(0, equals), word.substr(equals + 1));
        } else if (kind.second != nullptr && !line.contains(kind.second)) {
            SetMember(members, kind.second, word);
        } else {
            throw LineError(word + ": expected NAME=VALUE");
        }
    }
    return Dump(line);
}

std::size_t WordBegin(const std::string &typed) {
    const auto word = std::find_if_not(typed.rbegin(), typed.rend(), IsName);
    return static_cast<std::size_t>(typed.rend() - word);
}

std::string Completed(const std::string &typed, const std::string &word) {
    const std::string rest = word.substr(typed.size() - WordBegin(typed));
    return rest + EndOfQuoted(typed);
}

std::vector<std::string> Completions(const std::string &typed) {
    const std::string before = typed.substr(0, WordBegin(typed));
    const std::string word = typed.substr(before.size());
    const bool help = before == "help ";
    std::vector<Topic> topics = Topics();
    if (!help) {
        topics.erase(std::remove_if(topics.begin(), topics.end(),
                                    [](const Topic &row) { return row.kind == nullptr; }),
                     topics.end());
    }
    const Topic *topic = help ? nullptr : TopicOf(before, topics);
    std::set<std::string> words;
    if (topic != nullptr) {
        words.insert(kId);
        words.insert(topic->names.begin(), topic->names.end());
        for (const FieldHelp &field : topic->fields) {
            words.insert(field.name.substr(field.name.find_last_of('.') + 1));
        }
        for (const std::string &sample : topic->samples) {
            CollectKeys(ParseJson(sample), words);
        }
    } else {
        for (const Topic &row : topics) {
            words.insert(row.name);
            words.insert(row.names.begin(), row.names.end());
        }
        words.insert("help");
    }
    std::vector<std::string> completions;
    std::copy_if(words.begin(), words.end(), std::back_inserter(completions),
                 [&](const std::string &row) { return row.rfind(word, 0) == 0; });
    return completions;
}

} // namespace tqgateway
