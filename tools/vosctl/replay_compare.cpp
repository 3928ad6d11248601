// Compares two messages, field by field where the fields are known, else byte by byte.
#include "replay_compare.h"

#include <algorithm>
#include <charconv>

#include "arguments.h"
#include "command.h"
#include "common/message_line.h"
#include "common/msg_names.h"
#include "interfaces.h"

namespace vosctl {

namespace {

using Json = nlohmann::ordered_json;

std::optional<size_t> offset(std::string_view text) {
    size_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} && end == text.data() + text.size() ? std::optional{value} : std::nullopt;
}

class Comparison {
  public:
    Comparison(const std::string &kind, const Message &recorded, const Message &now,
               const std::vector<Ignored> &ignored)
        : kind_{kind}, recorded_{recorded}, now_{now}, ignored_{ignored} {}

    std::vector<Difference> run() {
        if (recorded_.header.wordData != now_.header.wordData && !mayDiffer("word") && !wordIsAField()) {
            add("word", wordText(recorded_), wordText(now_));
        }
        const auto before = decodePayload(recorded_.header, recorded_.payload);
        const auto after = decodePayload(now_.header, now_.payload);
        if (before && after) {
            compareFields(before->flatten(), after->flatten());
        } else {
            compareBytes();
        }
        return std::move(found_);
    }

  private:
    // A word with a name is compared among the fields.
    bool wordIsAField() const {
        VosMsgHeader header = now_.header;
        header.wordData = recorded_.header.wordData;
        return decodePayload(header, now_.payload) != decodePayload(now_.header, now_.payload);
    }
    static std::string wordText(const Message &message) { return msgnames::retText(message.header.wordData); }
    bool mayDiffer(const std::string &field) const {
        return std::ranges::any_of(ignored_, [&](const Ignored &each) { return each.field(field); });
    }
    bool mayDiffer(size_t at) const {
        return std::ranges::any_of(ignored_, [&](const Ignored &each) { return each.byte(at); });
    }
    void add(const std::string &field, const std::string &recorded, const std::string &now) {
        found_.push_back({recorded_.number, recorded_.header.type, kind_, field, recorded, now});
    }
    static std::string valueText(const Json &fields, const std::string &name) {
        return fields.contains(name) ? fields[name].dump(-1, ' ', true, Json::error_handler_t::replace) : "nothing";
    }
    void compareFields(const Json &before, const Json &after) {
        std::vector<std::string> names;
        for (const Json *fields : {&before, &after}) {
            for (const auto &[name, value] : fields->items()) {
                if (std::ranges::find(names, name) == names.end()) {
                    names.push_back(name);
                }
            }
        }
        for (const std::string &name : names) {
            const std::string bare = name.substr(std::min<size_t>(1, name.size()));  // without the slash in front
            if (valueText(before, name) != valueText(after, name) && !mayDiffer(bare)) {
                add(bare, valueText(before, name), valueText(after, name));
            }
        }
    }
    static std::string bytesText(const Bytes &bytes, size_t from, size_t to) {
        constexpr size_t kShown = 16;
        const size_t end = std::min({to, bytes.size(), from + kShown});
        return from >= bytes.size() ? "nothing"
                                    : msgline::hexText(ByteView{bytes}.subspan(from, end - from), " ") +
                                          (end < std::min(to, bytes.size()) ? " ..." : "");
    }
    bool differs(size_t at) const {
        const auto byteOf = [at](const Bytes &bytes) {
            return at < bytes.size() ? std::to_integer<int>(bytes[at]) : -1;
        };
        return byteOf(recorded_.payload) != byteOf(now_.payload) && !mayDiffer(at);
    }
    void compareBytes() {
        const size_t size = std::max(recorded_.payload.size(), now_.payload.size());
        for (size_t at = 0; at < size; at++) {
            if (!differs(at)) {
                continue;
            }
            size_t end = at + 1;
            while (end < size && differs(end)) {
                end++;
            }
            const std::string name = end == at + 1 ? "byte " + std::to_string(at)
                                                   : "bytes " + std::to_string(at) + "-" + std::to_string(end - 1);
            add(name, bytesText(recorded_.payload, at, end), bytesText(now_.payload, at, end));
            at = end;
        }
    }

    const std::string &kind_;
    const Message &recorded_;
    const Message &now_;
    const std::vector<Ignored> &ignored_;
    std::vector<Difference> found_;
};

}  // namespace

Ignored::Ignored(const std::string &text) {
    const size_t colon = text.find(':');
    type_ = parseType(text.substr(0, colon));
    if (colon == std::string::npos) {
        return;
    }
    field_ = text.substr(colon + 1);
    const size_t dash = field_.find('-');
    const auto first = offset(std::string_view{field_}.substr(0, dash));
    const auto last = dash == std::string::npos ? first : offset(std::string_view{field_}.substr(dash + 1));
    if (field_.empty() || (first && (!last || *last < *first))) {
        throw Failure{"--ignore takes TYPE, TYPE:word, TYPE:FIELD or TYPE:FROM-TO, not '" + text + "'", Exit::kUsage};
    }
    if (first) {
        bytes_ = {*first, *last};
    }
}

bool Ignored::field(const std::string &name) const {
    return !field_.empty() && name.starts_with(field_) && (name.size() == field_.size() || name[field_.size()] == '/');
}

std::vector<Difference> compare(const std::string &kind, const std::optional<Message> &recorded,
                                const std::optional<Message> &now, const std::vector<Ignored> &ignored) {
    if (!recorded && !now) {
        return {};
    }
    const Message &present = recorded ? *recorded : *now;
    std::vector<Ignored> here;
    std::ranges::copy_if(ignored, std::back_inserter(here),
                         [&](const Ignored &each) { return each.isOf(present.header.type); });
    if (std::ranges::any_of(here, &Ignored::all)) {
        return {};
    }
    if (!recorded || !now) {
        const auto text = [](const std::optional<Message> &message) {
            return message ? std::to_string(message->payload.size()) + " bytes" : "nothing";
        };
        return {{present.number, present.header.type, kind, "message", text(recorded), text(now)}};
    }
    return Comparison{kind, *recorded, *now, here}.run();
}

}  // namespace vosctl
