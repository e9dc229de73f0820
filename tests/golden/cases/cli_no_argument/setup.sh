# Nothing to prepare: zab2veda runs without any argument.
