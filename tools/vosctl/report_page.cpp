// Fills the template in. Everything that comes out of the capture is hostile: texts are escaped for where they stand.
#include "report_page.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdarg>
#include <ctime>
#include <nlohmann/json.hpp>
#include <set>
#include <string_view>

#include "common/message_line.h"
#include "common/msg_names.h"
#include "interfaces.h"
#include "report_template.h"
#include "vos/base.h"

namespace vosctl {

namespace {

using Json = nlohmann::ordered_json;

std::string format(const char *pattern, ...) VOS_PRINTF(1, 2);
std::string format(const char *pattern, ...) {
    char text[512];
    va_list arguments;
    va_start(arguments, pattern);
    vsnprintf(text, sizeof text, pattern, arguments);
    va_end(arguments);
    return text;
}

std::string escaped(std::string_view text) {
    std::string html;
    for (const char c : msgline::printable(text)) {
        constexpr std::string_view kSpecial = "&<>\"'";
        if (kSpecial.find(c) == std::string_view::npos) {
            html += c;
        } else {
            html += "&#" + std::to_string(static_cast<int>(c)) + ";";
        }
    }
    return html;
}

/** JSON that may stand between script tags. */
std::string scriptJson(const Json &value) {
    std::string text = value.dump(-1, ' ', true, Json::error_handler_t::replace);
    for (size_t at = 0; (at = text.find('<', at)) != std::string::npos;) {
        text.replace(at, 1, "\\u003c");
    }
    return text;
}

std::string entity(const Names &names, VosEntityId eid) {
    const std::string name = names.of(eid);
    return name.empty() ? std::to_string(eid) : escaped(name) + " <small>" + std::to_string(eid) + "</small>";
}

std::string duration(uint64_t ns) {
    const auto value = static_cast<double>(ns);
    return ns < 1'000'000       ? format("%.1f µs", value / 1e3)
           : ns < 1'000'000'000 ? format("%.1f ms", value / 1e6)
                                : format("%.2f s", value / 1e9);
}

std::string dateTime(uint64_t ns) {
    const auto seconds = static_cast<time_t>(ns / 1'000'000'000);
    tm broken{};
    gmtime_r(&seconds, &broken);
    char text[64];
    const size_t length = strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &broken);
    return std::string{text, length} + format(".%03u UTC", static_cast<unsigned>(ns / 1'000'000 % 1000));
}

class Page {
  public:
    Page(FILE *out, const ReportModel &model, const ReportSource &source)
        : out_{out}, model_{model}, names_{model.names()}, source_{source} {}

    void write() {
        std::string_view rest{reinterpret_cast<const char *>(kReportTemplate), sizeof kReportTemplate};
        const std::pair<std::string_view, void (Page::*)()> kParts[] = {
            {"{{title}}", &Page::title},           {"{{title}}", &Page::title},
            {"{{facts}}", &Page::facts},           {"{{answers}}", &Page::answers},
            {"{{unanswered}}", &Page::unanswered}, {"{{late}}", &Page::late},
            {"{{talks}}", &Page::talks},           {"{{data}}", &Page::data}};
        for (const auto &[mark, part] : kParts) {
            const size_t at = rest.find(mark);
            put(rest.substr(0, at));
            (this->*part)();
            rest.remove_prefix(at + mark.size());
        }
        put(rest);
    }

  private:
    void put(std::string_view text) { fwrite(text.data(), 1, text.size(), out_); }
    void row(std::initializer_list<std::string> cells) {
        put("<tr>");
        for (const std::string &cell : cells) {
            const bool figure = !cell.empty() && cell.front() >= '0' && cell.front() <= '9' && !cell.starts_with("0x");
            put((figure ? "<td class=n>" : "<td>") + cell + "</td>");
        }
        put("</tr>\n");
    }
    void title() { put(escaped(source_.name)); }

    void facts() {
        const uint64_t span = model_.lastNs() - std::min(model_.lastNs(), model_.firstNs());
        const auto say = [this](const std::string &text) { put("<li>" + text + "</li>\n"); };
        say(format("%" PRIu64 " messages in %s, from %s", model_.messages(), duration(span).c_str(),
                   dateTime(model_.firstNs()).c_str()));
        if (model_.kept().size() < model_.messages()) {
            say(format("the diagram holds the newest %zu; the tables count all", model_.kept().size()));
        }
        if (!source_.problem.empty()) {
            say("<b>" + escaped(source_.problem) + "</b>; what stands before it is all here");
        }
        const std::pair<uint64_t, const char *> kCounts[] = {
            {model_.lost(), "messages were lost while recording: the recorder was too slow"},
            {model_.cut(), "payloads are longer than the capture of them"},
            {model_.unasked(), "replies have their request before the capture"},
            {model_.uncounted(), "messages are between pairs beyond the first 4096, which the tables leave out"},
            {source_.foreign, "packets hold no message"}};
        for (const auto &[count, text] : kCounts) {
            if (count > 0) {
                say(format("%" PRIu64 " %s", count, text));
            }
        }
    }

    // Bars from 1 µs to 16 s, an octave each.
    std::string histogram(const Durations &durations) {
        constexpr size_t kFirst = 10;
        constexpr size_t kLast = 34;
        std::array<uint64_t, kLast - kFirst + 1> bars{};
        const auto octaves = durations.octaves();
        for (size_t i = 0; i < octaves.size(); i++) {
            bars[std::clamp(i, kFirst, kLast) - kFirst] += octaves[i];
        }
        const uint64_t most = std::max<uint64_t>(*std::ranges::max_element(bars), 1);
        std::string svg = "<svg class=bars viewBox=\"0 0 150 24\" width=150 height=24 role=img>";
        svg += "<title>Answer times from 1 µs to 16 s, each bar twice the one before</title>";
        for (size_t i = 0; i < bars.size(); i++) {
            if (bars[i] > 0) {
                const double height = std::max(1.5, 22.0 * static_cast<double>(bars[i]) / static_cast<double>(most));
                svg += format("<rect x=%zu y=%.1f width=5 height=%.1f><title>%s and more: %" PRIu64 "</title></rect>",
                              i * 6, 23 - height, height, duration(uint64_t{1} << (i + kFirst)).c_str(), bars[i]);
            }
        }
        return svg + "<path d=\"M0 23.5H150\"/></svg>";
    }

    void answers() {
        for (const auto &[key, each] : model_.answers()) {
            row({entity(names_, key.first), typeName(key.second), std::to_string(each.asked),
                 std::to_string(each.durations.count()), std::to_string(each.unanswered), std::to_string(each.late),
                 duration(each.durations.percentile(50)), duration(each.durations.percentile(99)),
                 duration(each.durations.max()), histogram(each.durations)});
        }
    }

    void list(const ListOf &all, const char *none) {
        for (const Listed &each : all.first) {
            const Request &request = each.request;
            row({format("<a href=\"#m%" PRIu64 "\">%" PRIu64 "</a>", request.number, request.number),
                 duration(request.timeNs - std::min(request.timeNs, model_.firstNs())), entity(names_, request.src),
                 entity(names_, request.dst), typeName(request.type), duration(each.afterNs), each.why});
        }
        if (all.count != all.first.size() || all.count == 0) {
            put("<tr><td colspan=7>" +
                (all.count == 0 ? std::string{none} : std::to_string(all.count - all.first.size()) + " more") +
                "</td></tr>\n");
        }
    }
    void unanswered() { list(model_.unanswered(), "Every request was answered."); }
    void late() { list(model_.late(), ("No reply took longer than " + duration(model_.lateNs()) + ".").c_str()); }

    void talks() {
        for (const auto &[key, talk] : model_.talks()) {
            row({entity(names_, key.first), entity(names_, key.second), std::to_string(talk.requests),
                 std::to_string(talk.replies), std::to_string(talk.others), std::to_string(talk.bytes)});
        }
    }

    // A column of the kept messages.
    template <typename Value>
    void column(const char *name, Value value) {
        put(format(",\n\"%s\":[", name));
        const char *separator = "";
        for (const Kept &each : model_.kept()) {
            put(separator + value(each));
            separator = ",";
        }
        put("]");
    }

    void data() {
        std::set<VosEntityId> entities;
        std::set<uint32_t> types;
        std::set<uint32_t> words;
        for (const Kept &each : model_.kept()) {
            entities.insert({each.header.src, each.header.dst});
            types.insert(each.header.type);
            words.insert(each.header.wordData);
        }
        Json names = Json::object();
        for (const VosEntityId eid : entities) {
            names[std::to_string(eid)] = names_.of(eid);
        }
        Json typeNames = Json::object();
        for (const uint32_t type : types) {
            typeNames[std::to_string(type)] = typeName(type);
        }
        Json results = Json::object();
        for (const uint32_t word : words) {
            if (const std::string text = msgnames::retText(word); text.starts_with("VOS_RET_")) {
                results[std::to_string(word)] = text;
            }
        }
        const uint64_t start = model_.kept().empty() ? 0 : model_.kept().front().timeNs;
        const uint64_t first = model_.kept().empty() ? 0 : model_.kept().front().number;
        put("{\"first\":" + std::to_string(first) + ",\"startMs\":" + std::to_string(start / 1'000'000) +
            ",\"names\":" + scriptJson(names) + ",\"types\":" + scriptJson(typeNames) +
            ",\"results\":" + scriptJson(results));
        const auto number = [](auto value) { return std::to_string(value); };
        // Clocks are set: the difference may be negative.
        column("t", [&](const Kept &each) { return number(static_cast<int64_t>(each.timeNs - start)); });
        column("src", [&](const Kept &each) { return number(each.header.src); });
        column("dst", [&](const Kept &each) { return number(each.header.dst); });
        column("type", [&](const Kept &each) { return number(each.header.type); });
        column("flags", [&](const Kept &each) { return number(each.header.flags); });
        column("word", [&](const Kept &each) { return number(each.header.wordData); });
        column("length", [&](const Kept &each) { return number(each.header.dataLength); });
        column("verdict", [&](const Kept &each) { return number(each.verdict); });
        column("lost", [&](const Kept &each) { return number(each.lost); });
        column("partner", [&](const Kept &each) { return number(each.partner); });
        column("payload", [&](const Kept &each) { return '"' + msgline::hexText(each.payload, "") + '"'; });
        decoded();
        put("}");
    }

    void decoded() {
        put(",\n\"decoded\":{");
        const char *separator = "";
        for (const Kept &each : model_.kept()) {
            if (const auto fields = decodePayload(each.header, each.payload)) {
                put(separator + ("\"" + std::to_string(each.number) + "\":") + scriptJson(*fields));
                separator = ",\n";
            }
        }
        put("}");
    }

    FILE *out_;
    const ReportModel &model_;
    const Names &names_;
    const ReportSource &source_;
};

}  // namespace

void writeReport(FILE *out, const ReportModel &model, const ReportSource &source) {
    Page{out, model, source}.write();
}

}  // namespace vosctl
