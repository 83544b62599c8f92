# For tests that talk to the root helper over its real socket, with a bus and a polkit of their own. In a private mount
# namespace: the test is started again in one, and nothing of it is seen outside.
needsRoot
export PATH=/usr/sbin:/usr/bin:/sbin:/bin  # what other users can start, too
for tool in dbus-daemon systemd-socket-activate setpriv unshare python3; do
  command -v $tool >/dev/null || skip "no $tool"
done
polkitd=/usr/lib/polkit-1/polkitd
[ -x $polkitd ] || skip "no polkitd"
bundle=com.qelcorporation.lumisk
for program in LumiskHelperTool106 LumiskHelperInstall; do
  [ -x "$(dirname "$lumisk")/$program" ] || skip "$program is not built"
done
if [ -z "${LUMISK_OWN_MOUNTS:-}" ]; then
  self=$(realpath "$0")
  cleanup
  LUMISK_OWN_MOUNTS=1 exec unshare --mount --propagation private "$self" "$lumisk"
fi

entitled=65534  # nobody
stranger=1      # daemon
getent passwd $entitled >/dev/null && getent passwd $stranger >/dev/null || skip "no accounts for the test"
chmod 755 "$scratch"
# As it is installed, with its own policy; only the root folder is another.
mkdir "$scratch/root"
DESTDIR=$scratch/root "$(dirname "$lumisk")/LumiskHelperInstall" install $bundle \
  "$(dirname "$lumisk")/LumiskHelperTool106" >"$scratch/out" 2>&1 || fail "not installed: $(cat "$scratch/out")"
helperTool=$scratch/root/Library/LumiskHelperTools/$bundle
helperSocket=/run/$bundle.socket
client=$(dirname "$0")/helper_client.py
started=()
endHelper() {
  local one
  for one in "${started[@]}"; do kill "$one" 2>/dev/null; done
  wait "${started[@]}" 2>/dev/null
}

startBus() {
  mkdir -p "$scratch/rules"
  cat >"$scratch/bus.conf" <<'X'
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><type>system</type><listen>unix:path=/run/dbus/system_bus_socket</listen><auth>EXTERNAL</auth>
<policy context="default"><allow user="*"/><allow own="*"/><allow send_destination="*"/><allow receive_type="*"/>
<allow send_type="method_call"/></policy></busconfig>
X
  cat >"$scratch/rules/10-test.rules" <<'X'
polkit.addRule(function(action, subject) {
  var ours = ["com.qelcorporation.lumisk.getuids", "com.qelcorporation.lumisk.mountimage"];
  if (ours.indexOf(action.id) >= 0 && subject.user == "nobody") return polkit.Result.YES;
});
X
  mount -t tmpfs none /run && mkdir /run/dbus &&
    mount --bind "$scratch/root/usr/share/polkit-1/actions" /usr/share/polkit-1/actions &&
    mount --bind "$scratch/rules" /etc/polkit-1/rules.d || skip "no mounts of its own"
  dbus-daemon --config-file="$scratch/bus.conf" --nofork --nopidfile 2>"$scratch/bus.err" &
  started+=($!)
  waitFor 20 test -S /run/dbus/system_bus_socket || skip "the bus does not start"
  $polkitd --no-debug 2>"$scratch/polkit.err" &
  started+=($!)
  waitFor 20 isPolkitThere || skip "polkit does not start"
}
isPolkitThere() {
  dbus-send --system --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.GetNameOwner \
    string:org.freedesktop.PolicyKit1 >/dev/null 2>&1
}

startHelper() {
  systemd-socket-activate -l "$helperSocket" "$helperTool" 2>"$scratch/helper.err" &
  helper=$!
  started+=($helper)
  waitFor 20 test -S "$helperSocket" || skip "the helper's socket does not appear"
  chmod 666 "$helperSocket"
}

# asUser UID COMMAND...
asUser() {
  local user=$1
  shift
  setpriv --reuid "$user" --regid "$user" --clear-groups --no-new-privs "$@"
}
# ask UID ARGUMENTS...: what helper_client.py prints.
ask() {
  local user=$1
  shift
  asUser "$user" timeout 120 python3 -B "$client" "$helperSocket" "$@" 2>&1
}
# expectAnswer WANTED UID ARGUMENTS...
expectAnswer() {
  local wanted=$1 answer
  shift
  answer=$(ask "$@")
  [ "$answer" = "$wanted" ] || fail "answered '$answer' instead of '$wanted': $*"
}

# What a test has to undo besides.
endMore() { :; }
trap 'endMore; endHelper; cleanup' EXIT
startBus
startHelper
