"""kill -9 of prober, agent and master, one, two or all three, in every order and at random moments,
until the time is over. After each round the walks have to be true, without help but that of a service
manager, who starts again what has ended.

    kills.py [--seconds N] [--rounds N] [--seed N]
"""

import argparse
import collections
import random
import time

from system import PARTS, System
from support.process import Scratch

# How long after the last fault the next comes, at most: shorter than what the parts need to find
# each other again, so that they are met in all states.
MOMENT = 1.5


def one_round(system, rng, orders):
    victims = rng.sample(PARTS, rng.randint(1, len(PARTS)))
    orders[tuple(victims)] += 1
    for part in victims:
        time.sleep(rng.uniform(0, MOMENT))
        system.kill(part)
    rng.shuffle(victims)
    for part in victims:
        time.sleep(rng.uniform(0, MOMENT))
        system.start(part)
        if rng.random() < 0.2:
            # It dies again while the others find it.
            time.sleep(rng.uniform(0, MOMENT))
            system.kill(part)
            system.start(part)
    began = time.monotonic()
    system.wait_for_the_truth()
    return time.monotonic() - began


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--seconds", type=float, default=600)
    parser.add_argument("--rounds", type=int, help="so many at the most")
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(2**32))
    arguments = parser.parse_args()
    print(f"kills for {arguments.seconds:g} s, seed {arguments.seed}", flush=True)
    rng = random.Random(arguments.seed)
    scratch = Scratch()
    system = System(scratch)
    took, orders = [], collections.Counter()
    try:
        for part in rng.sample(PARTS, len(PARTS)):
            system.start(part)
        system.wait_for_the_truth()
        end = time.monotonic() + arguments.seconds
        while time.monotonic() < end and len(took) != arguments.rounds:
            took.append(one_round(system, rng, orders))
    finally:
        system.close()
        scratch.remove()
    took.sort()
    print(f"{len(took)} rounds, {len(orders)} orders of kills; the truth was back after "
          f"{took[len(took) // 2]:.1f} s (median), {took[-1]:.1f} s (longest)")
    for order, count in sorted(orders.items()):
        print(f"  {count:4} {', '.join(order)}")


if __name__ == "__main__":
    main()
