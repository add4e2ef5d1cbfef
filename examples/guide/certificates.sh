# shellcheck shell=bash
# [install]
tarnctl cert demo-ca authority --issue server
tarnctl cert install 0x107 --cert authority/server.pem --key authority/server.key
tarnctl cert ca add authority/ca.pem
tarnctl cert check
# [/install]
tarnctl cert demo-ca stranger
guide_certificates >ready &
for ((i = 0; i < 500; ++i)); do
  if grep -q ready ready; then
    break
  fi
  sleep 0.02
done
# [revoke]
tarnctl cert revoke authority/server.pem --ca authority
# [/revoke]
tarnctl cert demo-ca other
# [more]
tarnctl cert ca add other/ca.pem
# [/more]
wait $!
