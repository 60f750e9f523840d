# shellcheck shell=bash
# The session a benchmark runs Verrabel in, with a throw-away home, gone when the script ends:
#   bench_session x11|gnome-shell   Xvfb with openbox, or GNOME Shell nested in it, with Xwayland
#   bench_launch                      Verrabel there; its PID in BENCH_APP
# BENCH_POINTER names the X display whose pointer moves it: in a nested Wayland session, the
# outer one. Set E2E_BUILD to the build folder before sourcing.
# shellcheck source=tests/e2e/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/../tests/e2e/lib.sh"

bench_session() {
  BENCH_KIND=$1
  xsession_for_script 1600x1000 welcomed
  BENCH_POINTER=$DISPLAY
  if [[ $BENCH_KIND == gnome-shell ]]; then
    wayland_gnome_shell_start
    BENCH_POINTER=$OUTER_DISPLAY
  fi
}

bench_launch() {
  e2e_launch
  BENCH_APP=$E2E_APP
}
