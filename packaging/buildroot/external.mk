include $(sort $(wildcard $(BR2_EXTERNAL_LIBVOS_PATH)/package/*/*.mk))
