/* Reads a configuration by tables: a row for each element or attribute that matters, everything else is skipped. */
#include <stdio.h>
#include <string.h>
#include <vos/xml.h>

static int onChannel(const char *name, int event, const char *value) {
    if (event == XML_EVENT_VALUE) {
        printf("%s: %s\n", name, value);
    }
    return 0;
}

static int onSsid(const char *name, int event, const char *value) {
    if (event == XML_EVENT_DATA) {
        printf("%s: %s\n", name, value);
    }
    return 0;
}

static const XmlNode radioRows[] = {
    {NULL, "channel", onChannel, NULL}, {NULL, "ssid", onSsid, NULL}, {NULL, NULL, NULL, NULL}};
static const XmlNode rootRows[] = {{NULL, "radio", NULL, radioRows}, {NULL, NULL, NULL, NULL}};

int main(void) {
    static const char document[] = "<?xml version=\"1.0\"?><radio channel=\"11\"><ssid> home </ssid><other/></radio>";
    const XmlTables tables = {.root = rootRows};
    return parseGeneric(NULL, document, (uint32_t)strlen(document), &tables); /* 0: the root element was closed */
}

/* Prints:
channel: 11
ssid: home
*/
