# The commands of this project. README.md says what each is for.

preset ?= default
build  := build/$(preset)
# joined=1 compiles several files in one go, which from nothing is faster.
joined :=
configure := cmake --preset $(preset) $(if $(joined),-DJOINED=ON) $(if $(VERBOSE),,> /dev/null)

# What the window needs beyond the rest, and the tests of it.
window_packages := clang gobjc++ libgnustep-gui-dev gnustep-back0.29-cairo fonts-inter \
                   fonts-noto-cjk xvfb xdotool python3-pil

.PHONY: help run test keys check window mac torture fuzz coverage mutants bench packages \
        window-packages build tests clean

help:
	@echo 'make run       build, and run the pane on an example Mac'
	@echo 'make test      build, and run all tests'
	@echo 'make keys      bring what docs/ says of the keys of Mac files up to date'
	@echo 'make check     what takes longer: sanitizers, torture, fuzzers (about half an hour)'
	@echo 'make window    build, and show the pane in a window'
	@echo 'make mac       build the bundle for Macs, of both kinds, and check it'
	@echo 'make torture   build, and let every platform call of every example fail'
	@echo 'make fuzz      build, and feed the pane noise; SECONDS=60 for each fuzzer'
	@echo 'make coverage  say which lines and branches of the plug-in no test runs'
	@echo 'make mutants   change the plug-in in one place at a time, and see whether the tests notice'
	@echo 'make bench     build optimised, and say what things cost'
	@echo 'make packages  install what is needed and missing (Debian 12)'
	@echo 'make clean     remove what was built'

packages:
	@scripts/install-packages

# Without them all but the window is built and tested.
window-packages: packages
	@scripts/install-packages $(window_packages) || \
	    echo 'The window is left out: its packages can not be had.'

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
	@echo 'Their names:       ls examples        What each shows: the comment at its top'
	@echo 'All the rest:      $(build)/bin/displaycheck --help'

test: tests
	@ctest --preset $(preset)

keys: packages $(build)/build.ninja
	@cmake --build --preset $(preset) --target mac_file_docs $(if $(VERBOSE),,-- --quiet)
	@$(build)/bin/mac_file_docs docs

# Enters the pane again at every moment of a run, and shows it every real EDID. Those would take long
# under a checker; the fuzzers try more.
check: tests
	@$(MAKE) --no-print-directory mac
	@EVERY_MOMENT=1 EVERY_EDID=1 ctest --preset $(preset) \
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

# Where it can't be built it says so, and that is all right.
mac:
	@scripts/mac

torture: packages $(build)/build.ninja
	@cmake --build --preset $(preset) --target torture displaycheck $(if $(VERBOSE),,-- --quiet)
	@scripts/torture $(build)/bin/torture

SECONDS ?= 10
fuzz:
	@scripts/install-packages clang libclang-rt-14-dev
	@cmake --preset fuzz $(if $(VERBOSE),,> /dev/null)
	@cmake --build --preset fuzz --target fuzzers $(if $(VERBOSE),,-- --quiet)
	@scripts/fuzz build/fuzz/bin $(SECONDS)

coverage: packages
	@scripts/install-packages gcovr
	@cmake --preset coverage $(if $(VERBOSE),,> /dev/null)
	@find build/coverage -name '*.gcda' -delete
	@cmake --build --preset coverage --target plugin_tests missing_interfaces_tests displaycheck \
	    $(if $(VERBOSE),,-- --quiet)
	@scripts/coverage build/coverage

# Takes more than an hour, and goes on where it was stopped.
mutants: packages
	@scripts/install-packages clang lld
	@scripts/mutants build/mutants

# A decoder that can't be had is left out of the comparison.
bench:
	@scripts/install-packages libbenchmark-dev
	@for decoder in edid-decode read-edid libparse-edid-perl; do \
	    scripts/install-packages $$decoder || echo "$$decoder can not be had."; done
	@cmake --preset bench $(if $(VERBOSE),,> /dev/null)
	@cmake --build --preset bench --target benchmarks run_benchmarks plugin_alone displaycheck \
	    $(if $(VERBOSE),,-- --quiet)
	@build/bench/bin/benchmarks
	@echo
	@build/bench/bin/run_benchmarks
	@echo
	@scripts/compare-decoders build/bench/bin/displaycheck
	@echo
	@size build/bench/bench/libplugin_alone.so

clean:
	@rm -rf build
