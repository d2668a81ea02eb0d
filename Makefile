# Thin names for the commands of this repository; each does one thing that can be typed as well.

.PHONY: all check quick approve format tidy clean

all:
	scripts/build x64

check:
	./test

quick:
	./test --quick

approve:
	./test --approve

format:
	scripts/check-format --fix

tidy:
	scripts/check-tidy build/x64

clean:
	rm -rf build
