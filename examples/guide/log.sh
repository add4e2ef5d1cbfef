# shellcheck shell=bash
guide_log
# [look]
tarnctl log phone
# [/look]
