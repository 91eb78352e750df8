#!/usr/bin/env bash
# Tells whether 32-bit Windows programs can run on this machine: it starts the 32-bit
# Wine loader under a short timeout and looks at what happened. Prints one line; exits
# 0 if they can, 1 if they cannot.
#
# Some kernels cannot execute 32-bit code at all (the program gets "Exec format
# error"); there only 64-bit Wine runs Windows programs, and only the 64-bit flavour of
# the library can be tested.
set -u
loader=""
for candidate in /usr/lib/wine/wine /usr/lib/wine-stable/wine /opt/wine-stable/bin/wine; do
  if [ -x "$candidate" ]; then loader=$candidate; break; fi
done
if [ -z "$loader" ]; then
  echo "32-bit Windows programs cannot run here: 32-bit Wine (wine32) is not installed."
  exit 1
fi
out=$(timeout 60 "$loader" --version 2>&1 </dev/null)
rc=$?
if [ $rc -eq 0 ] && printf '%s' "$out" | grep -q '^wine-'; then
  echo "32-bit Windows programs run here ($out, 32-bit loader started)."
  exit 0
fi
case "$out" in
  *"Exec format error"*) reason="the kernel cannot execute 32-bit code (Exec format error)" ;;
  *) reason="the 32-bit Wine loader did not start (exit status $rc: $(printf '%s' "$out" | head -n 1))" ;;
esac
[ $rc -eq 124 ] && reason="the 32-bit Wine loader did not answer within 60 s"
echo "32-bit Windows programs cannot run here: $reason."
exit 1
