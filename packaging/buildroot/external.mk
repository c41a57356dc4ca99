include $(sort $(wildcard $(BR2_EXTERNAL_TQDEVSDK_PATH)/package/*/*.mk))
