"""Mutation testing: makes mutants of the sources by rule, one at a time, and finds those that no test detects."""


class Error(Exception):
    """An error that ends the command with a message."""
