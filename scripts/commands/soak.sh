#!/usr/bin/env bash
# loads five processes for minutes or hours, kills one every few seconds, and gives an account
#
# usage: ./run soak [MINUTES] [tarn_soak ARGUMENT...]
#
# Without MINUTES it is 5; fractions are not known, 'tarn_soak --seconds' is for shorter runs. Exit code 0 only when no
# message was lost and no memory, descriptor or thread was held more than after the warm-up.
source "$(dirname "${BASH_SOURCE[0]}")/../common.sh"

minutes=5
if (($# > 0)) && [[ $1 != -* ]]; then
  [[ $1 =~ ^[0-9]{1,5}$ ]] || usage_error "'$1' is no number of minutes"
  minutes=$((10#$1))
  shift
fi
((minutes >= 1 && minutes <= 240)) || usage_error "soak runs for 1 to 240 minutes"

build_preset dev tarn_soak
exec build/dev/bin/tarn_soak --seconds $((minutes * 60)) "$@"
