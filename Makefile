# For people; CMake and its presets do the work.
.PHONY: all release test windows test-windows fuzz documents demo coverage mutate bench bench-fleet bench-micro lint \
  format clean deps wheel test-python blender-addon test-blender packages test-packages \
  windows-package

# More options for CMake, for example CMAKE_OPTIONS="-D MTLLIB_WERROR=ON".
CMAKE_OPTIONS ?=

all: release

release:
	cmake --preset release $(CMAKE_OPTIONS)
	cmake --build --preset release

deps:
	scripts/install-deps

test: deps
	$(MAKE) release
	ctest --preset release

.PHONY: configured-windows
configured-windows:
	scripts/install-deps --windows
	deps=$$(scripts/build-deps windows) && \
	  cmake --fresh --preset windows -D MTLLIB_DEPS="$$deps" $(CMAKE_OPTIONS)

windows: configured-windows
	cmake --build --preset windows

windows-package: configured-windows
	cmake --build --preset windows --target mtlsync mtlpublish mtllib mtlhost
	cpack --preset windows -B zip
	mkdir -p dist
	rm -f dist/mtllib-*-windows-*.zip
	cp build/windows/zip/*.zip dist

test-windows: windows
	scripts/wine-test-env ctest --preset windows

# Debian's packages; the same bytes whenever they are made of the same commit.
packages: export SOURCE_DATE_EPOCH = $(shell git log -1 --format=%ct)
packages:
	scripts/install-deps --packages
	cmake --preset packages $(CMAKE_OPTIONS)
	cmake --build --preset packages
	cpack --preset packages -B debs
	mkdir -p dist
	rm -f dist/*.deb
	cp build/packages/debs/*.deb dist

test-packages: packages
	scripts/test-packages dist

# For any Linux: an archive that needs nothing but glibc.
.PHONY: configured-bundle bundle test-bundle
configured-bundle:
	scripts/install-deps --bundle
	deps=$$(scripts/build-deps linux-x86_64) && \
	  cmake --fresh --preset bundle -D MTLLIB_DEPS="$$deps" $(CMAKE_OPTIONS)

bundle: configured-bundle
	cmake --build --preset bundle
	cpack --preset bundle -B archive
	mkdir -p dist
	rm -f dist/mtllib-*-linux-x86_64.tar.gz
	cp build/bundle/archive/*.tar.gz dist

test-bundle: bundle wheel
	scripts/test-bundle dist

# The same for ARM; its tests run in an emulator.
.PHONY: bundle-arm64 test-arm64
bundle-arm64:
	scripts/install-deps --arm64
	deps=$$(scripts/build-deps linux-aarch64) && \
	  cmake --preset arm64 -D MTLLIB_DEPS="$$deps" $(CMAKE_OPTIONS)
	cmake --build --preset arm64
	cpack --preset arm64 -B archive
	mkdir -p dist
	rm -f dist/mtllib-*-linux-aarch64.tar.gz
	cp build/arm64/archive/*.tar.gz dist

# The Python package with the libraries of that archive.
.PHONY: wheel-arm64
wheel-arm64: bundle-arm64
	scripts/install-deps --python
	rm -f dist/mtllib-*_aarch64.whl
	scripts/build-wheel build/arm64 dist

test-arm64: wheel-arm64
	scripts/test-arm64 dist
	ctest --preset arm64 -R '^(krell_networking_tests|rules_test|signing_test|system_tests|update_tests)$$'

# The Python package, with the libraries of the archive in it.
wheel: configured-bundle
	scripts/install-deps --python
	cmake --build --preset bundle --target mtllib mtlhost
	mkdir -p dist
	rm -f dist/mtllib-*_x86_64.whl
	scripts/build-wheel build/bundle dist

# With the libraries of the release build in it, which take less time to build.
test-python:
	scripts/install-deps --python
	cmake --preset release $(CMAKE_OPTIONS)
	cmake --build --preset release --target mtllib mtlhost
	rm -rf build/release/dist
	scripts/build-wheel build/release build/release/dist
	cd python && /usr/bin/mypy && \
	  MTLLIB_LIBRARY=$(CURDIR)/build/release/bin/libmtlhost.so \
	  MTLLIB_WHEELS=$(CURDIR)/build/release/dist /usr/bin/python3 -m pytest --quiet

# The examples in Rust and C#, on the C interface.
.PHONY: test-languages
test-languages: deps
	scripts/install-deps --languages
	cmake --preset release $(CMAKE_OPTIONS)
	cmake --build --preset release --target mtlhost mtlpublish
	tests/system/other_languages.sh $(CURDIR) $(CURDIR)/build/release/bin

# The add-on for Blender, with the Python package in it.
blender-addon: wheel
	rm -f dist/mtllib_blender-*.zip
	scripts/build-blender-addon dist/mtllib-*_x86_64.whl

test-blender: blender-addon
	scripts/install-deps --blender
	cd integrations/blender && /usr/bin/mypy && /usr/bin/python3 -m pytest --quiet
	cmake --build --preset release --target mtlpublish
	CLIENTS=host_in_blender tests/system/hostile_mirror.sh $(CURDIR) $(CURDIR)/build/release/bin

# Publishing by ssh, to a store that speaks S3, which Debian has no server for, and the guide's whole way.
.PHONY: test-publishing
test-publishing: deps
	scripts/install-deps --publishing
	scripts/install-deps --browser
	$(MAKE) release
	npm install --silent --prefix build/publishing s3rver@3.7.1
	tests/system/publishing_by_ssh.sh $(CURDIR) $(CURDIR)/build/release/bin
	tests/system/publishing_to_s3.sh $(CURDIR) $(CURDIR)/build/release/bin \
	  $(CURDIR)/build/publishing/node_modules/.bin/s3rver
	tests/system/publishing_journey.sh $(CURDIR) $(CURDIR)/build/release/bin \
	  $(CURDIR)/build/publishing/node_modules/.bin/s3rver

# The page of "mtlpublish serve" in Debian's Chromium.
.PHONY: test-browser
test-browser: deps
	scripts/install-deps --browser
	cmake --preset release $(CMAKE_OPTIONS)
	cmake --build --preset release --target mtlpublish
	python3 tests/system/page_in_browser.py build/release/bin

# The guide's picture of it.
.PHONY: page-picture
page-picture:
	scripts/install-deps --browser
	cmake --preset release $(CMAKE_OPTIONS)
	cmake --build --preset release --target mtlpublish
	scripts/picture-page build/release/bin docs/page.png

fuzz:
	scripts/install-deps --fuzz
	cmake --preset fuzz $(CMAKE_OPTIONS)
	cmake --build --preset fuzz
	scripts/fuzz $(FUZZ_SECONDS)

# Brings the parts of the documents up to date that are written from the sources and tests.
documents: release
	build/release/bin/write_faults_table docs/reliability.md
	build/release/bin/write_messages . docs/messages.md
	tests/failures/failures.py . build/release/bin --write

# The reference of the public headers, in build/reference/html; fails when something in them
# is not described.
.PHONY: reference
reference:
	scripts/install-deps --reference
	mkdir -p build
	doxygen

# Writes down what hosts rely on, after the difference that the tests show is meant.
.PHONY: abi-baseline
abi-baseline: release
	tests/abi/abi_baseline.sh . build/release/bin --write

# The README's picture of mtlsync at work.
.PHONY: terminal
terminal:
	scripts/install-deps --terminal
	$(MAKE) release
	scripts/record-terminal build/release/bin docs/terminal.svg

demo: deps
	cmake --preset release $(CMAKE_OPTIONS)
	cmake --build --preset release --target mtlsync mtlpublish mtllib
	scripts/demo build/release/bin

coverage:
	scripts/install-deps --coverage
	cmake --preset coverage $(CMAKE_OPTIONS)
	cmake --build --preset coverage
	scripts/coverage

mutate:
	scripts/install-deps --mutate
	scripts/mutate

# Twenty-five minutes; with BENCH_OPTIONS="--quick" a minute and a half, and the document stays as it is.
BENCH_OPTIONS = --document docs/performance.md
bench: bench-programs
	scripts/install-deps --bench
	python3 bench/compare --programs build/bench/bin $(BENCH_OPTIONS)

# Built only.
.PHONY: bench-programs
bench-programs:
	scripts/install-deps --bench-programs
	cmake --preset bench $(CMAKE_OPTIONS)
	cmake --build --preset bench

# What clients by the million cost those who publish for them: docs/cost.md.
bench-fleet: bench-programs
	python3 bench/fleet/measure.py --programs build/bench/bin
	python3 bench/fleet --document docs/cost.md

bench-micro: bench-programs
	build/bench/bin/bench_micro

# clang-tidy reads the headers that all tests share as clang precompiled them.
lint:
	scripts/install-deps --lint
	cmake --preset lint
	cmake --build --preset lint
	scripts/lint

# By hand: clang parses what is shipped for Windows as Microsoft's compiler would.
.PHONY: check-msvc
check-msvc:
	scripts/install-deps --windows
	deps=$$(scripts/build-deps windows) && \
	  cmake --fresh --preset windows -D MTLLIB_DEPS="$$deps" $(CMAKE_OPTIONS)
	scripts/check-msvc

# By hand: clang's analyzer.
.PHONY: analyze
analyze:
	scripts/install-deps --lint
	cmake --preset lint
	scripts/lint --analyze

format:
	scripts/install-deps --lint
	git ls-files '*.h' '*.cc' | xargs clang-format -i

clean:
	rm -rf build dist
