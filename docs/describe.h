// Descriptions of the command tables for the documents.
#pragma once

/// The commands as sections of a manual page.
void describe_man();
/// The commands as functions of a completion script; only what a command line may run.
void describe_words();
