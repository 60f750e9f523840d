# shellcheck shell=bash
# The session a benchmark runs Verrabel in, with a throw-away home, gone when the script ends:
#   bench_session x11|gnome-shell|sway|sway-native|kwin-native
#                                     Xvfb with openbox, or GNOME Shell, sway or KWin nested in
#                                     it; Verrabel on Xwayland there, or natively (*-native)
#   bench_launch                      Verrabel there; its PID in BENCH_APP
# BENCH_POINTER names the X display whose pointer moves it: in a nested Wayland session, the
# outer one. Set E2E_BUILD to the build folder before sourcing.
# shellcheck source=tests/e2e/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/../tests/e2e/lib.sh"

bench_session() {
  BENCH_KIND=$1
  xsession_for_script 1600x1000 welcomed
  BENCH_POINTER=$DISPLAY
  case $BENCH_KIND in
    gnome-shell) wayland_gnome_shell_start ;;
    sway | sway-native)
      wayland_sway_start
      swaymsg 'output * bg #306090 solid_color' >/dev/null
      ;;
    kwin-native) wayland_kwin_start ;;
  esac
  BENCH_POINTER=${OUTER_DISPLAY:-$DISPLAY}
}

bench_launch() {
  if [[ $BENCH_KIND == sway ]]; then e2e_launch VERRABEL_BACKEND=xwayland; else e2e_launch; fi
  BENCH_APP=$E2E_APP
}

# Whether the build has the native Wayland backend.
bench_has_layer_shell() { grep -q '^VERRABEL_HAS_LAYER_SHELL:INTERNAL=ON' "$E2E_BUILD/CMakeCache.txt"; }
