# Shared by the scripts: the project's folder, the Debian packages each job needs.
# shellcheck shell=bash disable=SC2034
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

demo_packages=(g++ cmake ninja-build libboost-dev libeigen3-dev libfmt-dev libcli11-dev libfccp-dev nlohmann-json3-dev gnuplot-nox)
python_packages=(pybind11-dev python3-dev python3-numpy)
test_packages=("${demo_packages[@]}" libgtest-dev libgmock-dev libbenchmark-dev binutils
  help2man pkg-config "${python_packages[@]}" mypy python3-matplotlib python3-pytest)
package_packages=("${demo_packages[@]}" dpkg-dev file help2man lintian "${python_packages[@]}")
ci_packages=("${test_packages[@]}" clang libclang-rt-14-dev clang-format)

# Installs what is missing of the packages named; says nothing when there is nothing to do.
install_packages() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
      missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  echo "Installing: ${missing[*]}"
  local sudo=()
  [ "$(id -u)" -eq 0 ] || sudo=(sudo)
  "${sudo[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends \
    "${missing[@]}" >/dev/null
}

# Configures a preset unless that has been done with the presets as they stand. A copy in the build
# tells; what the presets no longer set is forgotten.
configure_preset() {
  local preset=$1 log="$root/build/$1.log"
  local configured="$root/build/$preset/CMakePresets.json"
  mkdir -p "$root/build"
  cmp -s "$root/CMakePresets.json" "$configured" && return
  echo "Configuring $preset"
  cmake --fresh --preset "$preset" >"$log" 2>&1 || { cat "$log"; return 1; }
  cp "$root/CMakePresets.json" "$configured"
}

# Builds a preset, all of it or the targets named; prints the log only when something fails.
build_preset() {
  local preset=$1 log="$root/build/$1.log" targets=("${@:2}")
  configure_preset "$preset"
  ninja -C "$root/build/$preset" -n "${targets[@]}" 2>/dev/null | grep -q 'no work to do' ||
    echo "Building $preset"
  cmake --build --preset "$preset" --target "${targets[@]:-all}" >"$log" 2>&1 ||
    { cat "$log"; return 1; }
}
