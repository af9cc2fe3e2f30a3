# For people; CMake and its presets do the work.
.PHONY: all release test demo lint format clean deps

all: release

release:
	cmake --preset release
	cmake --build --preset release

deps:
	scripts/install-deps

test: deps
	$(MAKE) release
	ctest --preset release

demo: deps
	$(MAKE) release
	scripts/demo build/release/bin

lint:
	scripts/install-deps --lint
	cmake --preset release
	scripts/lint

format:
	scripts/install-deps --lint
	git ls-files '*.h' '*.cc' | xargs clang-format -i

clean:
	rm -rf build
