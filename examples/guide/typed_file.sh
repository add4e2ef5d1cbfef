# shellcheck shell=bash
guide_typed_file
cat "$TARN_HOST_DIR/storage/lasting.xml.bak"
