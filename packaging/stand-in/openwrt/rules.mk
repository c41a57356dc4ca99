# What the package's Makefile takes from OpenWrt, for packaging/check: WORK is the folder to work in.
INCLUDE_DIR := $(TOPDIR)/include
BUILD_DIR := $(WORK)/build
TARGET_CROSS :=
