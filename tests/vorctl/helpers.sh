# Shell functions for the rows of commands.txt.
# Writes a process list that makes /bin/sleep critical.
write_list() {
  printf '<vor_process_list><vor_process_entry flags="1" path="%s"/></vor_process_list>' \
    "$(realpath /bin/sleep)" >"$D/vor_proc.xms"
}
# Writes a process list the parser stops in, at line 1, column 43.
break_list() { printf '<vor_process_list><vor_process_entry flags=' >"$D/vor_proc.xms"; }
# Waits until the child $1 runs /bin/sleep (after its fork, and unshare's work), or is gone.
wait_sleep() {
  until [ "$(readlink "/proc/$1/exe")" = "$(realpath /bin/sleep)" ] || ! kill -0 "$1" 2>/dev/null; do
    sleep 0.05
  done
}
# Runs its arguments as an ordinary user (as they are, when the tests are not root).
as_nobody() {
  if [ "$(id -u)" = 0 ]; then setpriv --reuid=65534 --regid=65534 --clear-groups "$@"; else "$@"; fi
}
# Starts a parent that never reaps its child; once that child is a zombie
# (it exited, its pid still held), prints "PARENT ZOMBIE".
make_zombie() {
  sh -c 'sleep 0 & echo $! >"$0"; exec sleep 30' "$D/zombie" >/dev/null &
  until [ -s "$D/zombie" ] && [ "$(cut -d' ' -f3 "/proc/$(cat "$D/zombie")/stat" 2>/dev/null)" = Z ]; do
    sleep 0.05
  done
  echo "$! $(cat "$D/zombie")"
  rm "$D/zombie"
}
# Runs its arguments where /proc lists no process (a tmpfs over it) but
# /proc/self still leads to the real one, as loading a module as root needs.
hide_proc() {
  mkdir -p "$D/proc"
  # LeakSanitizer reads /proc at exit: a sanitized vorctl checks no leaks here.
  ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}detect_leaks=0" unshare -m sh -c 'mount --bind /proc "$0/proc" && mount -t tmpfs vor-test /proc &&
    ln -s "$0/proc/self" /proc/self && exec "$@"' "$D" "$@"
}
# Skips the rest of the section (exit 77, saying why) unless $1 is a directory.
need_dir() {
  [ -d "$1" ] || { echo "skipped: $1 is not a directory on this machine" >&2; exit 77; }
}
# Skips the rest of the section unless /bin, /sbin, /lib and /lib64 lead into /usr.
need_usrmerge() {
  for d in bin sbin lib lib64; do
    [ "$(realpath /$d)" = "/usr/$d" ] ||
      { echo "skipped: /$d is not a link into /usr: not a usrmerged machine" >&2; exit 77; }
  done
}
