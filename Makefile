# Short names for the scripts, for who has make. Nothing is decided here. ARGS is handed on to the long
# checks of scripts/reliability.sh.

.PHONY: build run test demo bench churn vrf-life faults model fuzz package coverage mutations valgrind packet-cost clean

build:
	@scripts/setup.sh run
	@scripts/build.sh release product

run:
	@./run

test:
	@./test

demo:
	@scripts/demo.sh

bench:
	@scripts/bench.sh

churn vrf-life faults:
	@scripts/reliability.sh $@ $(ARGS)

model:
	@scripts/model.sh

fuzz:
	@scripts/fuzz.sh

package:
	@scripts/setup.sh run
	@scripts/package.sh release

coverage:
	@scripts/coverage.sh

mutations:
	@scripts/mutations.sh

valgrind:
	@scripts/valgrind.sh

packet-cost:
	@scripts/packet-cost.sh

clean:
	rm -rf build
