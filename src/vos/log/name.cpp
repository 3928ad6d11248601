// The name of a process in its log: plug-in, entity or number.
#include "vos/log/parts.h"

#include "internal/cut_text.h"
#include "vos/eid.h"
#include "vos/plugin_info.h"

void vos::log::resolveName(VosEntityId eid, char (&name)[kNameSize]) {
    if (UTIL_pluginGetName(name, sizeof name) == VOS_RET_OK ||
        vosEid_getAppName(name, sizeof name, eid) == VOS_RET_OK) {
        return;
    }
    CutText{name}.text("EID").number(eid);
}
