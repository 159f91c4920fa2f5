# SPDX-License-Identifier: MIT
#
# Answers the cubes of a folder with make:
#
#   make -k -j 4 -f cubes.mk DIR=cubes
#
# Started once more, it asks for what is missing.
answer := $(dir $(lastword $(MAKEFILE_LIST)))answer.sh

all: $(patsubst %.smt2,%.answer,$(wildcard $(DIR)/cube-*.smt2))

%.answer: %.smt2
	$(answer) $<

.PHONY: all
