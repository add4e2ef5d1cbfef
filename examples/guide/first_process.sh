# shellcheck shell=bash
# The page's commands, with the waiting that a person does by looking.
ln -s "$LIBRARIES/libfirst_process.so" .
# [launch]
tarn_launch ./libfirst_process.so &
# [/launch]
launcher=$!
trap 'kill "$launcher" 2>/dev/null || true' EXIT
for ((i = 0; i < 500; ++i)); do
  if grep -q 'greeter says' out; then
    break
  fi
  sleep 0.02
done
# [look]
tarnctl ps
tarnctl log greeter
# [/look]
# [stop]
kill %1
# [/stop]
code=0
wait "$launcher" || code=$?
((code == 128 + 15))
tarnctl log -n 1 greeter
