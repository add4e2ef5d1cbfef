# shellcheck shell=bash
# [before]
tarnctl config set Conf.Media.frameRate 25
# [/before]
guide_configure >ready &
for ((i = 0; i < 500; ++i)); do
  if grep -q ready ready; then
    break
  fi
  sleep 0.02
done
# [change]
tarnctl config set Conf.Media.frameRate 60 Conf.Media.codec H265
# [/change]
wait $!
# [after]
tarnctl config list Conf.Media.
# [/after]
# [password]
echo 's3cret' | tarnctl config set --stdin Conf.SIPCallParam.sipPwd
tarnctl config get Conf.SIPCallParam.sipPwd
# [/password]
