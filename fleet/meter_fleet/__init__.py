"""Applies a plan of settings to many meters, through the menus on their consoles."""

VERSION = "0.1.0"
