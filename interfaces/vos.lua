-- Made by vosgen from the description of vos; do not edit.
return {
    name = "vos",
    names = {
        Directory = {
            [0] = "data",
            [1] = "temporary",
        },
    },
    records = {
        { name = "PluginRequest", size = 32, tail = true, fields = {
            { name = "cmdCode", kind = "integer", doc = "command code", size = 4, offset = 0 },
            { name = "ID", kind = "integer", doc = "request identifier", size = 4, offset = 4 },
            { name = "source", kind = "integer", doc = "origin of the request", size = 4, offset = 8 },
            { name = "sourceEid", kind = "integer", doc = "entity id of the originator", size = 4, offset = 12 },
            { name = "pluginName", kind = "textAt", doc = "plug-in name", size = 8, offset = 16 },
            { name = "commonCtx", kind = "textAt", doc = "command text or parameters", size = 8, offset = 24 },
        } },
        { name = "PluginResponse", size = 40, tail = true, fields = {
            { name = "cmdCode", kind = "integer", doc = "as in the request", size = 4, offset = 0 },
            { name = "ID", kind = "integer", doc = "as in the request", size = 4, offset = 4 },
            { name = "source", kind = "integer", doc = "as in the request", size = 4, offset = 8 },
            { name = "sourceEid", kind = "integer", doc = "as in the request", size = 4, offset = 12 },
            { name = "retCode", kind = "integer", doc = "result code", size = 4, offset = 16, signed = true },
            { name = "pluginName", kind = "textAt", doc = "plug-in name", size = 8, offset = 24 },
            { name = "retCtx", kind = "textAt", doc = "result text", size = 8, offset = 32 },
        } },
        { name = "EntityInfo", size = 444, tail = false, fields = {
            { name = "name", kind = "chars", doc = "not empty, not a name of the firmware's table", size = 64, offset = 0 },
            { name = "eid", kind = "integer", doc = "the id that a process of this name gets; 0: that of who runs under it, or a new one", size = 4, offset = 64 },
        } },
        { name = "RemoteCommand", size = 8, tail = true, fields = {
            { name = "function", kind = "integer", doc = "address of the command in the daemon; 0 where it goes by the first word", size = 8, offset = 0 },
            { name = "words", kind = "cstrings", doc = "the command line, as many words as the header's word says" },
        } },
        { name = "RegisterDelayed", size = 4, tail = false, fields = {
            { name = "delayMs", kind = "integer", doc = "delay in milliseconds", size = 4, offset = 0 },
        } },
        { name = "RegisterEvent", size = 0, tail = true, fields = {
            { name = "selection", kind = "bytes", doc = "the caller's" },
        } },
        { name = "UnregisterEvent", size = 0, tail = true, fields = {
            { name = "selection", kind = "bytes", doc = "as registered" },
        } },
        { name = "DeleteEntity", size = 0, tail = true, fields = {
            { name = "name", kind = "cstring", doc = "its name" },
        } },
        { name = "GetEid", size = 0, tail = true, fields = {
            { name = "name", kind = "cstring", doc = "a daemon's name" },
        } },
        { name = "GetPluginDirectoryReply", size = 0, tail = true, fields = {
            { name = "path", kind = "text", doc = "the directory" },
        } },
        { name = "TaskFinish", size = 8, tail = false, fields = {
            { name = "argument", kind = "integer", doc = "the task's argument", size = 8, offset = 0 },
        } },
        { name = "Launched", size = 0, tail = true, fields = {
            { name = "name", kind = "cstring", doc = "under which it launches; empty: by its entity id" },
            { name = "path", kind = "cstring", doc = "its executable" },
        } },
        { name = "Delayed", size = 0, tail = true, fields = {
            { name = "rest", kind = "bytes", doc = "what hubs may add" },
        } },
    },
    messages = {
        { name = "taskFinish", kind = "notice", type = 0x00000013, constant = "VOS_MSG_SYSTEM_TASK_FINISH", payload = "TaskFinish" },
        { name = "launched", kind = "notice", type = 0x10000251, constant = "VOS_MSG_LAUNCHED", payload = "Launched" },
        { name = "registerDelayed", kind = "request", type = 0x10000800, constant = "VOS_MSG_REGISTER_DELAYED_MSG", payload = "RegisterDelayed" },
        { name = "delayed", kind = "notice", type = 0x10000800, constant = "VOS_MSG_REGISTER_DELAYED_MSG", payload = "Delayed" },
        { name = "unregisterDelayed", kind = "request", type = 0x10000801, constant = "VOS_MSG_UNREGISTER_DELAYED_MSG" },
        { name = "registerEvent", kind = "request", type = 0x10000802, constant = "VOS_MSG_REGISTER_EVENT_INTEREST", payload = "RegisterEvent" },
        { name = "unregisterEvent", kind = "request", type = 0x10000803, constant = "VOS_MSG_UNREGISTER_EVENT_INTEREST", payload = "UnregisterEvent" },
        { name = "isAppRunning", kind = "request", type = 0x1000080b, constant = "VOS_MSG_IS_APP_RUNNING" },
        { name = "requeueWakeup", kind = "notice", type = 0x10000830, constant = "VOS_MSG_REQUEUE_WAKEUP" },
        { name = "resendRequest", kind = "event", type = 0x10000831, constant = "VOS_MSG_RESEND_REQUEST" },
        { name = "heartbeat", kind = "notice", type = 0x10000832, constant = "VOS_MSG_HEARTBEAT" },
        { name = "stopWatchdog", kind = "notice", type = 0x10000834, constant = "VOS_MSG_STOP_WATCHDOG" },
        { name = "reboot", kind = "request", type = 0x10000850, constant = "VOS_MSG_REBOOT" },
        { name = "saveLogToFlash", kind = "request", type = 0x10002c07, constant = "VOS_MSG_SAVE_LOG_TO_FLASH" },
        { name = "addEntity", kind = "request", type = 0x10003620, constant = "VOS_MSG_ADD_ENTITY_INFO", payload = "EntityInfo" },
        { name = "deleteEntity", kind = "request", type = 0x10003621, constant = "VOS_MSG_DEL_ENTITY_INFO", payload = "DeleteEntity" },
        { name = "getEid", kind = "request", type = 0x10003627, constant = "VOS_MSG_GET_EID_BY_APP_NAME", payload = "GetEid" },
        { name = "setPluginParameter", kind = "request", type = 0x1000700b, constant = "VOS_MSG_PLUGIN_SET_PARAMETER", payload = "PluginRequest", reply = "PluginResponse" },
        { name = "pluginParameter", kind = "notice", type = 0x1000700b, constant = "VOS_MSG_PLUGIN_SET_PARAMETER", payload = "PluginRequest" },
        { name = "getPluginDirectory", kind = "request", type = 0x10009130, constant = "VOS_MSG_GET_PLUGIN_CFG_DIR", reply = "GetPluginDirectoryReply" },
    },
}
