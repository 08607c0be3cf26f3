"""The manual, the tables of the documents and the completions of shells, from what the programs
say of themselves (PROGRAM --manual).
"""
