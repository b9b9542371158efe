#!/bin/sh
# The live processes of the decision table's forgery rows, started in folder
# $1: each prints NAME=VALUE for the table. The honest ones are what a real
# machine does (an image replaced on disk while it runs, an agent in the
# product folder); the forged ones are what malware can do to look like
# them. The rows that need root (mounts, a namespace of their own) get their
# names only when run as root; the caller has given this process a mount
# namespace of its own by then, so no mount reaches the machine.
set -eu
dir=$1
sleep_bin=$(realpath /bin/sleep)
sh_bin=$(realpath /bin/sh)

# Waits until process $1 runs the image whose kernel text is $2.
wait_image() {
  tries=0
  until [ "$(readlink "/proc/$1/exe" 2>/dev/null)" = "$2" ]; do
    tries=$((tries + 1))
    [ "$tries" -lt 1000 ] || { echo "process $1 never ran $2" >&2; exit 1; }
    sleep 0.01
  done
}
# Waits until file $1 holds a pid and prints it.
read_pid() {
  tries=0
  until [ -s "$1" ]; do
    tries=$((tries + 1))
    [ "$tries" -lt 1000 ] || { echo "no pid in $1" >&2; exit 1; }
    sleep 0.01
  done
  cat "$1"
}
# Starts "$@" in the background, quietly, and names its pid $started.
start() { "$@" >/dev/null 2>&1 & started=$!; }

# Deleted image behind a planted link: "evil (deleted)" -> a listed image.
mkdir -p "$dir/u"
cp "$sleep_bin" "$dir/u/evil"
start "$dir/u/evil" 60
wait_image "$started" "$dir/u/evil"
rm "$dir/u/evil"
ln -s "$sleep_bin" "$dir/u/evil (deleted)"
echo "FORGED=$started"

# A listed image replaced on disk while it runs, as a package upgrade does.
cp "$sleep_bin" "$dir/daemon"
start "$dir/daemon" 60
wait_image "$started" "$dir/daemon"
cp "$sleep_bin" "$dir/daemon.new"
mv "$dir/daemon.new" "$dir/daemon"
echo "UPGRADED=$started"
echo "DAEMON=$dir/daemon"

[ "$(id -u)" = 0 ] || exit 0

# A running image whose path now leads to another file (mounted over it).
mkdir -p "$dir/x" "$dir/y"
cp "$sleep_bin" "$dir/x/img"
cp "$sleep_bin" "$dir/y/img"
start "$dir/x/img" 60
wait_image "$started" "$dir/x/img"
mount --bind "$dir/y" "$dir/x"
echo "OVERMOUNTED=$started"
echo "IMG=$dir/x/img"

# The same for a parent: its child is judged by the parent's path.
mkdir -p "$dir/p" "$dir/q"
cp "$sh_bin" "$dir/p/sh"
cp "$sh_bin" "$dir/q/sh"
start "$dir/p/sh" -c "$sleep_bin 60 & echo \$! >'$dir/p.child'; wait"
wait_image "$started" "$dir/p/sh"
child=$(read_pid "$dir/p.child")
wait_image "$child" "$sleep_bin"
mount --bind "$dir/q" "$dir/p"
echo "OVERPARENT=$started"
echo "OVERCHILD=$child"
echo "PSH=$dir/p/sh"

# A parent that mounted a fake over a listed path in a mount namespace of its
# own, then ran that path; its child stays in the caller's namespace.
cp "$sleep_bin" "$dir/listed"
cp "$sleep_bin" "$dir/fake"
start sh -c "$sleep_bin 60 & echo \$! >'$dir/f.child'; exec unshare -m sh -c 'mount --bind $dir/fake $dir/listed && exec $dir/listed 60'"
child=$(read_pid "$dir/f.child")
wait_image "$child" "$sleep_bin"
wait_image "$started" "$dir/listed"
echo "FORGEDPARENT=$started"
echo "FORGEDCHILD=$child"
echo "LISTED=$dir/listed"

# The product folder, on a private /opt: an agent that runs from it, one
# forged into it through a deleted image, and one whose path leads elsewhere.
mount -t tmpfs vor-test /opt
mkdir -p /opt/velmorant/bin "$dir/honest"
cp "$sleep_bin" /opt/velmorant/agent
start /opt/velmorant/agent 60
wait_image "$started" /opt/velmorant/agent
echo "AGENT=$started"
cp "$sleep_bin" "$dir/u/evil2"
start "$dir/u/evil2" 60
wait_image "$started" "$dir/u/evil2"
rm "$dir/u/evil2"
ln -s /opt/velmorant/agent "$dir/u/evil2 (deleted)"
echo "FORGEDAGENT=$started"
cp "$sleep_bin" /opt/velmorant/bin/agent
cp "$sleep_bin" "$dir/honest/agent"
start /opt/velmorant/bin/agent 60
wait_image "$started" /opt/velmorant/bin/agent
mount --bind "$dir/honest" /opt/velmorant/bin
echo "HIDDENAGENT=$started"
