// Entity ids, process names and access bits of the firmware's daemons. New rows go to the end of their group; ids are
// never given to another daemon.
#include "vos/eid/table.h"

namespace {

constexpr uint16_t kNone = 0;
constexpr uint16_t kConsole = 0x01;
constexpr uint16_t kTelnet = 0x04;
constexpr uint16_t kShell = 0x08;
constexpr uint16_t kWeb = 0x10;
constexpr uint16_t kRemoteManagement = 0x20;
constexpr uint16_t kSnmp = 0x40;
constexpr uint16_t kService = 0x80;  // shared: as a mask it names the first of them only

}  // namespace

// clang-format off
constinit const std::array<EntityInfo, 95> vos::kEntityTable{{
    // hub and system
    {20, "hubd", kNone},
    {21, "guardd", kNone},
    {22, "configd", kNone},
    {23, "eventd", kNone},
    {24, "firmwared", kNone},
    {25, "timesyncd", kNone},
    {26, "ledd", kNone},
    {27, "buttond", kNone},
    {28, "thermald", kNone},
    {29, "storaged", kNone},
    {30, "logsaverd", kNone},
    {31, "usbd", kNone},
    {32, "crashd", kNone},
    {33, "powerd", kNone},
    {34, "licensed", kNone},
    {35, "datamodeld", kNone},
    // access line
    {15, "eponapp", kNone},
    {42048, "gponproxy", kNone},
    {11, "looptestd", kNone},
    {12, "oamd", kNone},
    {13, "omcid", kNone},
    {14, "ponlinkd", kNone},
    {16, "gponapp", kNone},
    {17, "dslmond", kNone},
    {18, "opticsd", kNone},
    {19, "bondingd", kNone},
    {42049, "xgsproxy", kNone},
    {42050, "ploamd", kNone},
    // management access
    {1, "consoled", kConsole},
    {2, "telnetd", kTelnet},
    {3, "sshd", kShell},
    {5, "httpd", kWeb},
    {6, "acsd", kRemoteManagement},
    {4, "snmpd", kSnmp},
    // local network
    {60, "ethswitchd", kNone},
    {61, "portmond", kNone},
    {62, "wlanctld", kNone},
    {63, "wlanauthd", kNone},
    {64, "wlansteerd", kNone},
    {65, "meshd", kNone},
    {66, "bridged", kNone},
    {67, "vland", kNone},
    {68, "multicastd", kNone},
    {69, "stpd", kNone},
    {70, "lldpd", kNone},
    {71, "nfcd", kNone},
    // voice
    {80, "voiced", kNone},
    {81, "sipd", kNone},
    {82, "dectd", kNone},
    {83, "faxd", kNone},
    {84, "slicd", kNone},
    {85, "ringd", kNone},
    {86, "callmgrd", kNone},
    {87, "dialpland", kNone},
    // network services
    {100, "routed", kService},
    {101, "dhcpd", kService},
    {102, "dhcpc", kService},
    {103, "dhcp6d", kService},
    {104, "dhcp6c", kService},
    {105, "radvd", kService},
    {106, "dnsproxyd", kService},
    {107, "ddnsd", kService},
    {108, "pppd", kService},
    {109, "pppoed", kService},
    {110, "l2tpd", kService},
    {111, "pptpd", kService},
    {112, "gretund", kService},
    {113, "ipsecd", kService},
    {114, "vpnclientd", kService},
    {115, "natd", kService},
    {116, "firewalld", kService},
    {117, "algd", kService},
    {118, "qosd", kService},
    {119, "shaperd", kService},
    {120, "parentald", kService},
    {121, "urlfilterd", kService},
    {122, "upnpd", kService},
    {123, "mdnsd", kService},
    {124, "igmpd", kService},
    {125, "mldd", kService},
    {126, "iptvd", kService},
    {127, "wand", kService},
    {128, "failoverd", kService},
    {129, "lanhostd", kService},
    // applications
    {130, "sambad", kService},
    {131, "ftpd", kService},
    {132, "tftpd", kService},
    {133, "printd", kService},
    {134, "mediad", kService},
    {135, "torrentd", kService},
    {136, "cloudsyncd", kService},
    {137, "speedtestd", kService},
    {138, "pingd", kService},
    {139, "traced", kService},
    {140, "plugind", kService},
}};
// clang-format on
