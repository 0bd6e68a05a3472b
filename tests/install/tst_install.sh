#!/usr/bin/env bash
# The install into a temporary prefix, as a user whose program folder is not
# the application folder: the Linux layout, the launcher, icon, metainfo and
# manual page in their places, the installed program finding its helpers and
# keeping its files in the XDG folders, and an uninstall that leaves nothing.
# Usage: tst_install.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$(readlink -f "$1")
source=$(readlink -f "$2")
work=$(mktemp -d)
prefix=$work/prefix
# The test's install must not take the place of a real one's record.
mkdir "$work/saved"
for record in install_manifest.txt install_folders.txt; do
  [[ -e $build/$record ]] && mv "$build/$record" "$work/saved/"
done
restore() {
  rm -f "$build/install_manifest.txt" "$build/install_folders.txt"
  cp -p "$work"/saved/* "$build/" 2>/dev/null || true
  rm -rf "$work"
}
trap restore EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

cmake --install "$build" --prefix "$prefix" >/dev/null
for file in bin/tonmill lib/tonmill/tonmill-run lib/tonmill/tonmill-avs lib/tonmill/MediaInfo/mediainfo; do
  [[ -x $prefix/$file ]] || fail "$file is not installed as a program"
done
desktop=$prefix/share/applications/org.example.tonmill.desktop
metainfo=$prefix/share/metainfo/org.example.tonmill.metainfo.xml
manual=$prefix/share/man/man1/tonmill.1
[[ -f $prefix/share/icons/hicolor/scalable/apps/tonmill.svg ]] || fail "no scalable icon"
desktop-file-validate "$desktop" || fail "the installed launcher does not validate"
appstreamcli validate --no-net "$metainfo" >/dev/null || fail "the installed metainfo does not validate"
grep -qx 'Exec=tonmill %F' "$desktop" || fail "the launcher does not start tonmill with the files"
grep -q '^MimeType=.*audio/mpeg;' "$desktop" || fail "the launcher offers no audio types"
icon=$(sed -n 's/^Icon=//p' "$desktop")
for size in 16 24 32 48 64 128 256; do
  picture=$prefix/share/icons/hicolor/${size}x$size/apps/$icon.png
  [[ $(identify -format '%wx%h' "$picture") == "${size}x$size" ]] || fail "no ${size}x$size icon of that size"
done

# The manual page reads without warnings and names every option of --help.
warnings=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -E UTF-8 -l "$manual" 2>&1 >/dev/null)
[[ -z $warnings ]] || fail "the manual page has warnings: $warnings"
text=$(LC_ALL=C.UTF-8 MANWIDTH=200 man -E UTF-8 -l "$manual" 2>/dev/null)
release=$(sed -n 's/^CMAKE_PROJECT_VERSION:[A-Z]*=//p' "$build/CMakeCache.txt")
grep -q "Tonmill $release" <<<"$text" || fail "the manual page does not carry version $release"
options=$(grep -o -- '--[a-z][a-z-]*' <<<"$("$prefix/bin/tonmill" --help)" | sort -u)
[[ $(wc -l <<<"$options") -gt 20 ]] || fail "the help lists too few options: $options"
for option in $options; do
  grep -q -- "$option" <<<"$text" || fail "the manual page does not name $option"
done

# The installed program, with no display at all, as a user of its own.
home=$work/home
mkdir -p "$home/.config/Tonmill"
user_env=(env -u DISPLAY -u WAYLAND_DISPLAY QT_QPA_PLATFORM= HOME="$home"
  XDG_CONFIG_HOME="$home/.config" XDG_CACHE_HOME="$home/.cache" TMPDIR="$work")
version=$("${user_env[@]}" "$prefix/bin/tonmill" --version)
[[ $version == "Tonmill $release" ]] || fail "--version says \"$version\""
printf '[General]\r\nFFMPEG=/usr/bin/ffmpeg\r\n' >"$home/.config/Tonmill/Tonmill.ini"
sox -n -r 44100 -c 2 -b 16 "$home/tone.wav" synth 2 sine 440
"${user_env[@]}" "$prefix/bin/tonmill" --convert "$home/tone.wav" --format FLAC --title Installed >"$work/log" 2>&1 ||
  fail "the installed program did not convert: $(cat "$work/log")"
[[ $(ffprobe -v error -show_entries stream=codec_name:format_tags=title -of csv=p=0 "$home/tone_Konverted.flac" | paste -sd,) == flac,Installed ]] ||
  fail "no FLAC output with its tag: the media tool or the encoder runner was not found"
for file in .cache/Tonmill/fileData.ini .cache/Tonmill/DirectQX.avs; do
  [[ -f $home/$file ]] || fail "$file was not written in the user's folders"
done

# Nothing but the installed files is in the prefix; the uninstall takes them
# and the folders the install made.
diff <(sort "$build/install_manifest.txt") <(find "$prefix" -type f -o -type l | sort) ||
  fail "the prefix holds files that the install did not put there"
cmake -D BUILD_DIR="$build" -P "$source/cmake/Uninstall.cmake" >/dev/null
[[ ! -e $prefix ]] || fail "the uninstall left: $(find "$prefix")"
echo "tst_install: passed"
