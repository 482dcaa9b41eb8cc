#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
# SPDX-License-Identifier: MIT
#
# virtual-display.sh PROGRAM [ARGUMENT...]: runs a program on a display of its own, which is also a VNC server. Only
# this machine reaches it, and only with the password that is printed. Everything ends with the program.

set -euo pipefail
umask 077
folder=$(mktemp -d)
children=()
finish() {
    ((${#children[@]} == 0)) || kill "${children[@]}" 2>/dev/null || true
    wait
    rm -rf -- "$folder"
}
trap finish EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

# In a session of its own, a child gets no Ctrl-C. The signal ends it when this script is killed.
apart=(setpriv --pdeathsig TERM setsid)

# Pass secrets through builtins and pipes, because every user can read the arguments of a process.
random() { head -c 1000 /dev/urandom | tr -dc "$1" | cut -c "1-$2"; }
cookie=$(random 0-9a-f 32)
password=$(random a-km-z2-9 8) # VNC compares no more than eight characters
export XAUTHORITY=$folder/authority
# With an empty file the server would let every local user in.
xauth -q <<<"add :0 . $cookie" 2>/dev/null
tigervncpasswd -f <<<"$password" >"$folder/password"

mkfifo "$folder/number"
number=
for ((port = 5900; port < 5950; ++port)); do
    "${apart[@]}" Xtigervnc -displayfd 1 -auth "$XAUTHORITY" -nolisten tcp -noreset -localhost -rfbport "$port" \
        -SecurityTypes VncAuth -PasswordFile "$folder/password" -UseBlacklist 0 -AlwaysShared \
        -desktop KyVisaConfigure -geometry 1280x800 -depth 24 >"$folder/number" 2>"$folder/log" &
    children=($!)
    # If the port is in use, the server ends, and read fails.
    read -r -t 30 number <"$folder/number" && break
    kill "${children[@]}" 2>/dev/null || true
done
[[ $number ]] || { cat "$folder/log" >&2 && exit 1; }

export DISPLAY=:$number QT_QPA_PLATFORM=xcb
unset WAYLAND_DISPLAY
xauth -q <<<"add $DISPLAY . $cookie"
"${apart[@]}" matchbox-window-manager 2>/dev/null &
children+=($!)
printf 'to see the window on this machine: vncviewer 127.0.0.1::%s, with the password %s\n' "$port" "$password"
printf 'from another machine: ssh -L %s:127.0.0.1:%s %s@%s, and the same there\n' "$port" "$port" "$(id -un)" "$HOSTNAME"
"${apart[@]}" "$@" &
children+=($!)
wait $!
