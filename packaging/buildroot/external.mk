include $(sort $(wildcard $(BR2_EXTERNAL_VORN_PATH)/package/*/*.mk))
