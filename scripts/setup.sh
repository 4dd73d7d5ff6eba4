#!/usr/bin/env bash
# Installs every Debian package the build, the application and the tests need.
# Safe to run again: only missing packages are fetched.
set -euo pipefail

PACKAGES=(
  build-essential cmake ninja-build pkg-config git clang-format
  clang libclang-rt-14-dev
  qt6-base-dev qt6-declarative-dev qt6-multimedia-dev qt6-tools-dev-tools
  libqt6opengl6-dev libgl-dev
  qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-layouts
  qml6-module-qtquick-shapes qml6-module-qtquick-window qml6-module-qtquick-templates
  qml6-module-qtqml qml6-module-qtqml-workerscript qml6-module-qtmultimedia
  qml6-module-qtquick-dialogs qml6-module-qttest qml6-module-qtqml-models
  # The file and folder dialogs of Qt Quick Dialogs list folders with it; without it they crash.
  qml6-module-qt-labs-folderlistmodel
  qcoro-qt6-dev nlohmann-json3-dev
  # The Review page's preview plays through Qt Multimedia's GStreamer backend: the elements its
  # player links, the sink of PulseAudio's devices, and a decoder for camera files' AAC sound.
  gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-pulseaudio gstreamer1.0-libav
  libgtest-dev libgmock-dev googletest
  ffmpeg python3 xvfb xauth libgl1-mesa-dri libglx-mesa0
  fonts-inter fonts-jetbrains-mono fonts-noto-color-emoji fonts-materialdesignicons-webfont
  xdg-utils desktop-file-utils espeak-ng unzip pkexec
)

missing=()
for p in "${PACKAGES[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if [ ${#missing[@]} -gt 0 ]; then
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
