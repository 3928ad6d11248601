// vosctl nfc: the contents of an NFC tag, as a file or as a dump.
#include <cstdio>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "arguments.h"
#include "command.h"
#include "common/message_line.h"
#include "dump.h"
#include "internal/guards.h"
#include "output.h"
#include "vos/nfc.h"

namespace {

struct Options {
    std::string ssid;
    std::string auth = "wpa2";
    std::string encryption = "aes";
    std::string key;
    std::string url;
    std::string output;
    bool json = false;
};

void write(uint8_t *buffer, uint32_t length, const Options &options) {
    const std::string &output = options.output;
    const vos::MemPtr<uint8_t> owned{buffer};
    if (!owned) {
        throw vosctl::Failure{"out of memory"};
    }
    const auto bytes = std::as_bytes(std::span{buffer, length});
    if (options.json) {
        vosctl::printJson({{"length", length}, {"payload", msgline::hexText(bytes, "")}});
    } else if (output.empty()) {
        vosctl::printDump(bytes);
    }
    if (output.empty()) {
        return;
    }
    std::ofstream file{output, std::ios::binary};
    file.write(reinterpret_cast<const char *>(buffer), length);
    file.close();
    if (!file) {
        throw vosctl::Failure{"cannot write " + output + "; give a writable file with --output"};
    }
    if (!options.json) {
        printf("%u bytes in %s\n", length, output.c_str());
    }
}

void addOutput(vosctl::Arguments app, Options &options) {
    app.option("-o,--output", options.output, "write the tag's contents there instead of dumping them").called("FILE");
    vosctl::addJson(app, options.json);
}

void setUpWifi(vosctl::Arguments app, const std::shared_ptr<Options> &options) {
    app.option("ssid", options->ssid, "network name").required();
    app.option("--auth", options->auth, "authentication, default wpa2")
        .oneOf({"psk2", "wpa2", "shared", "open", "psk", "wpa"});
    app.option("--encryption", options->encryption, "default aes").oneOf({"aes", "tkip", "wep", "none"});
    app.option("--key", options->key, "network key").called("TEXT");
    addOutput(app, *options);
    app.runs([options] {
        constexpr size_t kMaxSsid = 32;    // IEEE 802.11
        constexpr size_t kMaxTexts = 221;  // the rest of a short record's 255 bytes goes to the attributes
        if (options->ssid.size() > kMaxSsid) {
            throw vosctl::Failure{
                "a network name has at most 32 bytes; this one has " + std::to_string(options->ssid.size()),
                vosctl::Exit::kUsage};
        }
        if (options->ssid.size() + options->key.size() > kMaxTexts) {
            throw vosctl::Failure{"name and key are longer than a tag holds; give at most 221 characters in all",
                                  vosctl::Exit::kUsage};
        }
        uint8_t *buffer = nullptr;
        uint32_t length = 0;
        UTIL_nfcGenWifiNdefData(options->ssid.c_str(), options->auth.c_str(), options->encryption.c_str(),
                                options->key.c_str(), &buffer, &length);
        write(buffer, length, *options);
    });
}

void setUpUrl(vosctl::Arguments app, const std::shared_ptr<Options> &options) {
    app.option("url", options->url, "web address, 254 characters at most").required();
    addOutput(app, *options);
    app.runs([options] {
        constexpr size_t kMaxUrl = 254;  // a short record's 255 bytes without the code in front of the address
        if (options->url.size() > kMaxUrl) {
            throw vosctl::Failure{"the address is longer than a tag holds; give at most 254 characters",
                                  vosctl::Exit::kUsage};
        }
        uint8_t *buffer = nullptr;
        uint32_t length = 0;
        UTIL_nfcGenUrlNdefData(options->url.c_str(), &buffer, &length);
        write(buffer, length, *options);
    });
}

void setUp(vosctl::Arguments app) {
    auto options = std::make_shared<Options>();
    app.needsSubcommand();
    setUpWifi(app.subcommand("wifi", "a Wi-Fi credential"), options);
    setUpUrl(app.subcommand("url", "a web address"), options);
}
const vosctl::Command kCommand{"nfc", "build the contents of an NFC tag", setUp};

}  // namespace
