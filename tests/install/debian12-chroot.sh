#!/usr/bin/env bash
# The whole way on a clean Debian 12, as a new user meets it. A fresh chroot
# made with debootstrap gets the committed tree, and "./build.sh install"
# installs the packages, builds and installs into /usr/local, as the README
# says. Then a user of its own, who cannot write the program's folder,
# converts a WAV file to Opus on the command line and finds the report and
# scripts in ~/.cache/Tonmill/; /usr/local holds only what the manifest lists,
# unchanged by the use, and "./build.sh uninstall" leaves it as it was.
# Run as root on a Debian machine that reaches Debian's archive (DEBIAN_MIRROR,
# default http://deb.debian.org/debian); the log is left in WORK_DIR, and with
# TONMILL_KEEP_CHROOT=1 the chroot too. Usage: debian12-chroot.sh [WORK_DIR]
set -euo pipefail
fail() { echo "FAIL: $*" >&2; exit 1; }

# In the chroot, as root.
inside() {
  cd /src
  ./build.sh install
  # Its packages put folders of their own into /usr/local (python3's
  # dist-packages): the install is measured against /usr/local as they left it.
  ./build.sh uninstall >/dev/null
  find /usr/local | sort >/tmp/before
  ./build.sh install >/dev/null
  comm -13 /tmp/before <(find /usr/local | sort) >/tmp/added
  diff <(sort build/install_manifest.txt) <(while read -r path; do [[ -d $path ]] || echo "$path"; done </tmp/added) ||
    fail "/usr/local holds files that the manifest does not list"

  useradd --create-home mira
  if runuser -u mira -- test -w /usr/local/bin; then fail "mira may write the program's folder"; fi
  as_mira() { runuser -u mira -- env -i PATH=/usr/local/bin:/usr/bin:/bin HOME=/home/mira LANG=C.UTF-8 "$@"; }
  as_mira mkdir -p /home/mira/Music /home/mira/.config/Tonmill
  printf '[General]\r\nFFMPEG=/usr/bin/ffmpeg\r\n' | as_mira tee /home/mira/.config/Tonmill/Tonmill.ini >/dev/null
  as_mira sox -n -r 44100 -c 2 -b 16 "/home/mira/Music/Evening Tune.wav" synth 20 sine 440 gain -6
  as_mira tonmill --convert "/home/mira/Music/Evening Tune.wav" --format OPUS --loudness -16 \
    --output "/home/mira/Music/Evening Tune.opus" || fail "the command line did not convert"
  [[ $(ffprobe -v error -show_entries stream=codec_name -of csv=p=0 "/home/mira/Music/Evening Tune.opus") == opus ]] ||
    fail "no Opus output"
  for file in fileData.ini DirectQX.avs; do
    [[ -f /home/mira/.cache/Tonmill/$file ]] || fail "$file is missing from ~/.cache/Tonmill"
  done
  diff /tmp/added <(comm -13 /tmp/before <(find /usr/local | sort)) || fail "running the program changed /usr/local"
  ./build.sh uninstall
  diff /tmp/before <(find /usr/local | sort) || fail "the uninstall left something in /usr/local"
  echo "== all shown"
}

[[ ${1:-} != --inside ]] || { inside; exit; }
((EUID == 0)) || fail "run as root: it makes a chroot"
script=$(readlink -f "$0")
repo=$(git -C "$(dirname "$script")" rev-parse --show-toplevel)
work=$(readlink -f "${1:-$(mktemp -d /var/tmp/tonmill-chroot.XXXXXX)}")
root=$work/root
mirror=${DEBIAN_MIRROR:-http://deb.debian.org/debian}
[[ ! -e $root ]] || fail "$root exists already"
command -v debootstrap >/dev/null || { apt-get update -qq && apt-get install -y -qq debootstrap; }
debootstrap --variant=minbase bookworm "$root" "$mirror" >"$work/debootstrap.log"
printf 'deb %s bookworm main\ndeb %s bookworm-updates main\ndeb http://deb.debian.org/debian-security bookworm-security main\n' \
  "$mirror" "$mirror" >"$root/etc/apt/sources.list"
cp /etc/resolv.conf "$root/etc/resolv.conf"
cp "$script" "$root/check.sh"
mkdir "$root/src"
git -C "$repo" archive HEAD | tar -x -C "$root/src"
mount -t proc proc "$root/proc"
trap 'umount "$root/proc"; [[ ${TONMILL_KEEP_CHROOT:-} == 1 ]] || rm -rf "$root"' EXIT
chroot "$root" /usr/bin/env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 \
  /bin/bash /check.sh --inside 2>&1 | tee "$work/check.log" || fail "the steps inside the chroot failed; see $work/check.log"
