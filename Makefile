# The commands of this project. README.md says what each is for.

preset ?= default
build  := build/$(preset)
# joined=1 compiles several files as one, which makes a full build faster.
joined :=
configure := cmake --preset $(preset) $(if $(joined),-DJOINED=ON) $(if $(VERBOSE),,> /dev/null)

# Packages that building and testing need.
needed_packages := cmake ninja-build g++ pkg-config libyaml-cpp-dev nlohmann-json3-dev libfmt-dev \
                   libcli11-dev libicu-dev libplist-dev libarchive-dev libpugixml-dev libgtest-dev libgmock-dev \
                   libbz2-dev liblzma-dev libzstd-dev nettle-dev zlib1g-dev \
                   python3 python3-jsonschema python3-yaml original-awk
# Extra packages for the window and its tests.
window_packages := clang gobjc++ libgnustep-gui-dev gnustep-back0.29-cairo fonts-inter \
                   fonts-noto-cjk fontconfig xvfb xauth xdotool python3-pil

.PHONY: help run test keys check window mac torture fuzz coverage mutants bench packages \
        window-packages build tests tidy clean

help:
	@echo 'make run       build, then run the pane on an example Mac'
	@echo 'make test      build, then run all tests; only=REGEX runs the tests with matching names'
	@echo 'make keys      update what docs/ says about the keys of Mac files'
	@echo 'make check     run the longer checks: make mac, sanitizers, torture, fuzzers (about half an hour)'
	@echo 'make window    build, then show the pane in a window'
	@echo 'make mac       build the bundle for Intel Macs and Apple silicon, then check it'
	@echo 'make torture   build, then fail every platform call of every example in turn'
	@echo 'make fuzz      build the fuzzers, then run each for SECONDS (default 10)'
	@echo 'make coverage  list the lines and branches of the plug-in that no test runs'
	@echo 'make mutants   mutate the plug-in and check that its tests notice (over an hour)'
	@echo 'make tidy      run clang-tidy on the C++ (some minutes)'
	@echo 'make bench     build this and an earlier commit optimised, then compare their benchmarks'
	@echo 'make packages  install missing packages (Debian 12); install=no prevents that in any command'
	@echo 'make clean     remove all build output'

packages:
	@scripts/install-packages 'building and testing need' $(needed_packages)

# Without them, everything but the window is built and tested.
window-packages: packages
	@scripts/install-packages 'the window needs' $(window_packages) || \
	    echo 'The window is skipped: its packages are unavailable.'

$(build)/build.ninja:
	@$(configure)

build: packages $(build)/build.ninja
	@cmake --build --preset $(preset) --target displaycheck $(if $(VERBOSE),,-- --quiet)

tests: window-packages
	@$(configure)
	@cmake --build --preset $(preset) $(if $(VERBOSE),,-- --quiet)

run: build
	@$(build)/bin/displaycheck run examples/intel-first-look.yaml
	@echo
	@echo 'More Macs to try:  $(build)/bin/displaycheck run examples/NAME.yaml'
	@echo 'Their names:       ls examples    (each begins with a comment that says what it shows)'
	@echo 'All commands:      $(build)/bin/displaycheck --help'

# only=REGEX runs the tests with such a name.
test: tests
	@scripts/test $(preset) $(if $(only),--tests-regex '$(only)') $(if $(VERBOSE),--verbose)

keys: packages $(build)/build.ninja
	@cmake --build --preset $(preset) --target mac_file_docs $(if $(VERBOSE),,-- --quiet)
	@$(build)/bin/mac_file_docs docs
	@scripts/report-docs

# The variables make two tests try every moment of a run and every real EDID. Under a sanitizer these
# would take long; the fuzzers try more.
check: tests
	@$(MAKE) --no-print-directory mac
	@cmake --build --preset $(preset) --target all_verify_interface_header_sets \
	    $(if $(VERBOSE),,-- --quiet)
	@EVERY_MOMENT=1 EVERY_EDID=1 scripts/test $(preset) \
	    --tests-regex '^(On/)?Entering|RealMonitors'
	@env -u EDID_CORPUS $(MAKE) --no-print-directory test preset=asan
	@env -u EDID_CORPUS $(MAKE) --no-print-directory test preset=tsan
	@$(MAKE) --no-print-directory torture
	@$(MAKE) --no-print-directory fuzz

window: window-packages
	@$(configure)
	@cmake --build --preset $(preset) --target displaycheck displaycheck-window \
	    $(if $(VERBOSE),,-- --quiet)
	@$(build)/bin/displaycheck window examples/intel-camera-later.yaml

# Where the bundle can't be built, the script says so and succeeds.
mac:
	@scripts/mac

torture: packages $(build)/build.ninja
	@cmake --build --preset $(preset) --target torture displaycheck $(if $(VERBOSE),,-- --quiet)
	@scripts/torture $(build)/bin/torture

SECONDS ?= 10
fuzz:
	@scripts/install-packages 'the fuzzers need' clang libclang-rt-14-dev
	@cmake --preset fuzz $(if $(VERBOSE),,> /dev/null)
	@cmake --build --preset fuzz --target fuzzers $(if $(VERBOSE),,-- --quiet)
	@scripts/fuzz build/fuzz/bin $(SECONDS)

coverage: packages
	@scripts/install-packages 'the coverage report needs' gcovr
	@cmake --preset coverage $(if $(VERBOSE),,> /dev/null)
	@find build/coverage -name '*.gcda' -delete
	@cmake --build --preset coverage --target plugin_tests missing_interfaces_tests displaycheck \
	    $(if $(VERBOSE),,-- --quiet)
	@scripts/coverage build/coverage

# Takes more than an hour; an interrupted run resumes.
mutants: packages
	@scripts/install-packages 'the mutants need' clang lld
	@tools/mutants/mutants build/mutants

bench: packages
	@scripts/install-packages 'the benchmarks need' libbenchmark-dev edid-decode read-edid
	@scripts/bench
	@size build/bench/bench/libplugin_alone.so

tidy: packages
	@scripts/install-packages 'make tidy needs' clang clang-tidy
	@cmake --preset clang -B build/tidy -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON > /dev/null
	@run-clang-tidy -quiet -p build/tidy \
	    '/(plugin|torture)/.*\.cpp$$|/(simulated_mac|displaycheck)/(?!tests/).*\.cpp$$' \
	    2> /dev/null

clean:
	@rm -rf build
