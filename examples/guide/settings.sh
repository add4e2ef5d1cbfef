# shellcheck shell=bash
# [file]
folder=$TARN_HOST_DIR/config-files/conference
mkdir -p "$folder"
cat >"$folder/conf_config.xml" <<'XML'
<settings>
  <setting name="isStopCastWhenConfEnd">1</setting>
  <setting name="room">Turing</setting>
</settings>
XML
# [/file]
# [check]
tarnctl settings
# [/check]
tarnctl settings --check "$folder/conf_config.xml"
guide_settings
