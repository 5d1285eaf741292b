"""Brings the settings of many meters to a plan, through the menus on their consoles."""

VERSION = "0.1.0"
