// vosctl nfc: the contents of an NFC tag, as a file or as a dump.
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>

#include "command.h"
#include "dump.h"
#include "vos/mem.h"
#include "vos/nfc.h"

namespace {

struct Options {
    std::string ssid;
    std::string auth = "wpa2";
    std::string encryption = "aes";
    std::string key;
    std::string url;
    std::string output;
};

void write(uint8_t *buffer, uint32_t length, const std::string &output) {
    // NOLINTNEXTLINE(bugprone-lambda-function-name): what a damaged block is reported under
    const std::unique_ptr<uint8_t, void (*)(uint8_t *)> owned{buffer, [](uint8_t *block) { VOS_FREE(block); }};
    if (buffer == nullptr) {
        throw vosctl::Failure{"out of memory"};
    }
    if (output.empty()) {
        vosctl::printDump(std::as_bytes(std::span{buffer, length}));
        return;
    }
    std::ofstream file{output, std::ios::binary};
    file.write(reinterpret_cast<const char *>(buffer), length);
    file.close();
    if (!file) {
        throw vosctl::Failure{"cannot write " + output + "; give a writable file with --output"};
    }
    printf("%u bytes in %s\n", length, output.c_str());
}

void addOutput(CLI::App &app, Options &options) {
    app.add_option("-o,--output", options.output, "write the tag's contents there instead of dumping them")
        ->type_name("FILE");
}

void setUpWifi(CLI::App &app, const std::shared_ptr<Options> &options) {
    app.add_option("ssid", options->ssid, "network name")->required();
    app.add_option("--auth", options->auth, "authentication, default wpa2")
        ->check(CLI::IsMember({"psk2", "wpa2", "shared", "open", "psk", "wpa"}));
    app.add_option("--encryption", options->encryption, "default aes")
        ->check(CLI::IsMember({"aes", "tkip", "wep", "none"}));
    app.add_option("--key", options->key, "network key")->type_name("TEXT");
    addOutput(app, *options);
    app.callback([options] {
        constexpr size_t kMaxTexts = 221;  // the rest of a short record's 255 bytes goes to the attributes
        if (options->ssid.size() + options->key.size() > kMaxTexts) {
            throw vosctl::Failure{"name and key are longer than a tag holds; give at most 221 characters in all",
                                  vosctl::Exit::usage};
        }
        uint8_t *buffer = nullptr;
        uint32_t length = 0;
        UTIL_nfcGenWifiNdefData(options->ssid.c_str(), options->auth.c_str(), options->encryption.c_str(),
                                options->key.c_str(), &buffer, &length);
        write(buffer, length, options->output);
    });
}

void setUpUrl(CLI::App &app, const std::shared_ptr<Options> &options) {
    app.add_option("url", options->url, "web address, 511 characters at most")->required();
    addOutput(app, *options);
    app.callback([options] {
        constexpr size_t kMaxUrl = 511;
        if (options->url.size() > kMaxUrl) {
            throw vosctl::Failure{"the address is longer than a tag holds; give at most 511 characters",
                                  vosctl::Exit::usage};
        }
        uint8_t *buffer = nullptr;
        uint32_t length = 0;
        UTIL_nfcGenUrlNdefData(options->url.c_str(), &buffer, &length);
        write(buffer, length, options->output);
    });
}

const vosctl::Command kCommand{"nfc", "build the contents of an NFC tag", [](CLI::App &app) {
                                   auto options = std::make_shared<Options>();
                                   app.require_subcommand(1);
                                   setUpWifi(*app.add_subcommand("wifi", "a Wi-Fi credential"), options);
                                   setUpUrl(*app.add_subcommand("url", "a web address"), options);
                               }};

}  // namespace
