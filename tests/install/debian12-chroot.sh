#!/usr/bin/env bash
# The installed program on a clean Debian 12, the way a new user meets it. A
# fresh chroot is made with debootstrap. With --from-source, the committed tree
# is copied in and "./build.sh install" installs the packages, builds and
# installs into /usr/local, as the README says. Without it, the chroot gets
# only the program's run-time packages (no compiler, no -dev package) and the
# build made on this machine is installed into its /usr/local with
# "cmake --install". Then, as a user of its own who cannot write the
# program's folder, with no settings anywhere:
#   - the launcher's command line (Exec= of the installed .desktop file) starts
#     the window on a virtual display (xvfb-run) with a WAV file; xdotool answers
#     the first start's questions, types the ffmpeg path into Setup and presses
#     Convert, as a person would with the keyboard; the MP3 appears beside the WAV;
#   - the command line converts the same file to Opus;
#   - the settings are in ~/.config/Tonmill/, the report and scripts in
#     ~/.cache/Tonmill/, and /usr/local holds only what the manifest lists;
#   - "./build.sh uninstall" leaves /usr/local as it was before the install.
# Without --from-source the repository is seen inside the chroot at its own
# path through an overlay, so that the install's records are written there and
# not into this build.
# Screenshots of the window (before and after Convert) and the logs are left
# in WORK_DIR.
#
# Run as root on a Debian machine that reaches Debian's archive (DEBIAN_MIRROR,
# default http://deb.debian.org/debian); without --from-source, after building
# into build/.
# Usage: tests/install/debian12-chroot.sh [--from-source] [WORK_DIR]
# With TONMILL_KEEP_CHROOT=1 the chroot is left in WORK_DIR/root.
set -euo pipefail

user=mira
source_file="/home/$user/Music/Evening Tune.wav"

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

# What the installed program needs to run, with cmake for the install; and
# what this demonstration uses besides: xdotool to type, xwd for the
# screenshots, a font.
runtime_packages=(
  libqt6widgets6 libqt6network6 libqt6multimedia6 qt6-qpa-plugins
  ffmpeg libavcodec-extra mediainfo sox xvfb xauth cmake
)
demo_packages=(xdotool x11-apps fonts-dejavu-core)

# On the machine: make the chroot and run the steps inside it in a mount
# namespace of their own, so that its mounts go with it.
on_host() {
  ((EUID == 0)) || fail "run as root: it makes a chroot"
  local script repo work root mirror from_source=
  script=$(readlink -f "$0")
  repo=$(git -C "$(dirname "$script")" rev-parse --show-toplevel)
  if [[ ${1:-} == --from-source ]]; then
    from_source=1
    shift
  fi
  [[ -n $from_source || -x $repo/build/tonmill ]] ||
    fail "build the program first: cmake --build $repo/build"
  work=$(readlink -f "${1:-$(mktemp -d /var/tmp/tonmill-chroot.XXXXXX)}")
  root=$work/root
  mirror=${DEBIAN_MIRROR:-http://deb.debian.org/debian}
  [[ ! -e $root ]] || fail "$root exists already"
  mkdir -p "$work"
  if ! command -v debootstrap >/dev/null; then
    apt-get update -qq
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends debootstrap
  fi

  echo "== a clean Debian 12 in $root"
  debootstrap --variant=minbase bookworm "$root" "$mirror" >"$work/debootstrap.log"
  printf 'deb %s bookworm main\ndeb %s bookworm-updates main\ndeb http://deb.debian.org/debian-security bookworm-security main\n' \
    "$mirror" "$mirror" >"$root/etc/apt/sources.list"
  cp /etc/resolv.conf "$root/etc/resolv.conf"
  local packages=("${demo_packages[@]}")
  [[ -n $from_source ]] || packages+=("${runtime_packages[@]}")
  echo "== its packages: ${packages[*]}"
  chroot "$root" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive chroot "$root" apt-get install -y -qq --no-install-recommends \
    "${packages[@]}" >"$work/packages.log"
  cp "$script" "$root/demo.sh"
  if [[ -n $from_source ]]; then
    mkdir "$root/src"
    git -C "$repo" archive HEAD | tar -x -C "$root/src"
    echo "== the committed tree of $(git -C "$repo" rev-parse --short HEAD) in /src"
  else
    mkdir -p "$root$repo" "$work/upper" "$work/overlay-work"
  fi

  unshare --mount --propagation private --fork -- "$script" --namespace "$root" "$repo" "$work" "$from_source"
  for shot in before-convert after-convert; do
    convert "xwd:$root/home/$user/$shot.xwd" "$work/$shot.png"
  done
  cp "$root/home/$user/window.log" "$root/home/$user/convert.log" "$work/"
  if [[ ${TONMILL_KEEP_CHROOT:-} != 1 ]]; then
    rm -rf "$root"
  fi
  echo "== done: screenshots and logs in $work"
}

in_namespace() {
  local root=$1 repo=$2 work=$3 from_source=$4
  mount -t proc proc "$root/proc"
  mount -t sysfs sysfs "$root/sys"
  mount -t tmpfs tmpfs "$root/dev/shm"
  if [[ -n $from_source ]]; then
    repo=/src
  else
    mount -t overlay overlay -o "lowerdir=$repo,upperdir=$work/upper,workdir=$work/overlay-work" "$root$repo"
  fi
  chroot "$root" /usr/bin/env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
    HOME=/root LANG=C.UTF-8 /bin/bash /demo.sh --inside "$repo" "$from_source" 2>&1 | tee "$work/demo.log"
  [[ ${PIPESTATUS[0]} == 0 ]] || fail "the steps inside the chroot failed"
}

# In the chroot, as root: the install, what a new user does, and the checks.
inside() {
  local repo=$1 from_source=$2
  cd "$repo"
  if [[ -n $from_source ]]; then
    echo "== ./build.sh install"
    ./build.sh install
    # Its packages put folders of their own into /usr/local (python3's
    # dist-packages): the install is measured again against /usr/local as
    # they left it, and the packages and the build are there by now.
    ./build.sh uninstall >/dev/null
    find /usr/local | sort >/tmp/before
    echo "== ./build.sh install, once more"
    ./build.sh install
  else
    find /usr/local | sort >/tmp/before
    echo "== cmake --install build --prefix /usr/local"
    cmake --install build --prefix /usr/local | tail -n 3
  fi

  echo "== the installed files"
  sort build/install_manifest.txt
  comm -13 /tmp/before <(find /usr/local | sort) >/tmp/added
  diff <(sort build/install_manifest.txt) <(while read -r path; do [[ -d $path ]] || echo "$path"; done </tmp/added) ||
    fail "/usr/local holds files that the manifest does not list"

  useradd --create-home --shell /bin/bash "$user"
  if runuser -u "$user" -- test -w /usr/local/bin; then fail "$user may write the program's folder"; fi
  runuser -u "$user" -- mkdir -p "$(dirname "$source_file")"
  runuser -u "$user" -- sox -n -r 44100 -c 2 -b 16 "$source_file" synth 20 sine 440 gain -6

  # The display repeats no key: on a busy machine a key held a little long
  # would otherwise answer the next box too.
  echo "== the window, started by the launcher's command line on a virtual display"
  runuser -u "$user" -- env -i PATH=/usr/local/bin:/usr/bin:/bin HOME="/home/$user" LANG=C.UTF-8 \
    xvfb-run -a -s "-screen 0 1280x1024x24 -nolisten tcp -ardelay 60000" /bin/bash /demo.sh --window
  local mp3="${source_file%.wav}_Konverted.mp3"
  [[ $(ffprobe -v error -show_entries stream=codec_name -of csv=p=0 "$mp3") == mp3 ]] ||
    fail "the window made no MP3"
  echo "converted in the window: $mp3, $(ffprobe -v error -show_entries format=duration -of csv=p=0 "$mp3") s"

  echo "== the command line"
  local opus="/home/$user/Music/Evening Tune.opus"
  runuser -u "$user" -- env -i PATH=/usr/local/bin:/usr/bin:/bin HOME="/home/$user" LANG=C.UTF-8 \
    tonmill --convert "$source_file" --format OPUS --loudness -16 --output "$opus" >"/home/$user/convert.log" 2>&1 ||
    fail "the command line did not convert: $(cat "/home/$user/convert.log")"
  tail -n 3 "/home/$user/convert.log"
  [[ $(ffprobe -v error -show_entries stream=codec_name -of csv=p=0 "$opus") == opus ]] || fail "no Opus output"
  echo "converted on the command line: $opus"

  echo "== where the files went"
  find "/home/$user/.config" "/home/$user/.cache" -type f | sort
  grep -q '^FFMPEG=/usr/bin/ffmpeg' "/home/$user/.config/Tonmill/Tonmill.ini" || fail "Setup's ffmpeg path is not kept"
  grep -q '^Mode=MP3' "/home/$user/.config/Tonmill/Tonmill.ini" || fail "the window's options were not saved at exit"
  for file in .config/Tonmill/Tonmill.LNG .cache/Tonmill/fileData.ini .cache/Tonmill/DirectQX.avs; do
    [[ -f /home/$user/$file ]] || fail "$file is missing"
  done
  comm -13 /tmp/before <(find /usr/local | sort) >/tmp/added-after-use
  diff /tmp/added /tmp/added-after-use || fail "running the program changed /usr/local"

  echo "== ./build.sh uninstall"
  ./build.sh uninstall
  diff /tmp/before <(find /usr/local | sort) || fail "the uninstall left something in /usr/local"
  echo "/usr/local is as it was before the install"
  echo "== all shown"
}

# Waits until a window named as the pattern says, other than the last one
# pressed in, has the keyboard (a dialog takes it when it opens), then
# presses the keys there.
pressed_in=
press_when_focused() {
  local pattern=$1 id name tries
  for ((tries = 0; tries < 600; tries++)); do
    id=$(xdotool getwindowfocus 2>/dev/null) || id=
    name=$(xdotool getwindowname "$id" 2>/dev/null) || name=
    if [[ -n $id && $id != "$pressed_in" && $name =~ $pattern ]]; then
      xdotool key "${@:2}"
      pressed_in=$id
      return 0
    fi
    sleep 0.1
  done
  return 1
}

# Under xvfb-run, as the user: the launcher's command line, and the keys.
window() {
  cd "$HOME"
  local exec_line words=() launch=() word
  exec_line=$(sed -n 's/^Exec=//p' /usr/local/share/applications/org.example.tonmill.desktop)
  echo "Exec=$exec_line"
  read -ra words <<<"$exec_line"
  for word in "${words[@]}"; do
    [[ $word == %F ]] && word=$source_file
    launch+=("$word")
  done
  "${launch[@]}" >"$HOME/window.log" 2>&1 &
  local program=$!

  # The window is called "Tonmill" until start-up gives it its title, before
  # the first box.
  local main
  main=$(timeout 60 xdotool search --sync --onlyvisible --name 'Tonmill.*by' | head -n 1)
  [[ -n $main ]] || fail "the main window did not come"
  # Each of the first start's boxes in turn, as each takes the keyboard:
  # the update question (Enter: Yes), the notice that the files were made,
  # the first-run message, then Setup: five language buttons, the ffmpeg
  # path, and Enter for OK.
  press_when_focused '^Tonmill$' Return || fail "the update question did not come"
  press_when_focused '^Tonmill$' Return || fail "the notice did not come"
  press_when_focused '^Tonmill$' Return || fail "the first-run message did not come"
  press_when_focused '^Setup' Tab Tab Tab Tab Tab ctrl+a || fail "Setup did not come"
  xdotool type --delay 20 /usr/bin/ffmpeg
  xdotool key Return
  # The window opens the launcher's file once start-up is done.
  sleep 5
  xwd -root -silent >"$HOME/before-convert.xwd"
  xdotool windowfocus --sync "$main" key alt+c
  local mp3="${source_file%.wav}_Konverted.mp3" waited=0
  while [[ ! -s $mp3 ]] && ((waited < 120)); do
    sleep 1
    waited=$((waited + 1))
  done
  sleep 2
  xwd -root -silent >"$HOME/after-convert.xwd"
  # File > Exit, which saves the settings.
  xdotool windowfocus --sync "$main" key alt+f x
  wait "$program" || true
}

case ${1:-} in
  --namespace) in_namespace "$2" "$3" "$4" "${5:-}" ;;
  --inside) inside "$2" "${3:-}" ;;
  --window) window ;;
  *) on_host "$@" ;;
esac
