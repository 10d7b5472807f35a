// Message channels: named fan-out points with a list of destinations.
#pragma once
#include <cstdio>

#include "quorvan.h"

struct Destination {
  Channel *channel;
  int kind;  // 1 file, 2 file through a slot, 3 function
  Destination *next;
  FILE *file;
  FILE **fileSlot;
  void *userHandle;
  void (*function)(void *, const char *);
};

// The record behind QVNCHANNELptr: the head of its destination list, newest first.
struct Channel {
  Destination *head;
};

struct Environment;

namespace qvn {

Channel *createChannel();
void freeChannel(Channel *&channel);
// Adds a file destination unless one with this very file is already attached.
int addFileDestOnce(Channel *channel, FILE *file);
int removeFileDest(Channel *channel, FILE *file);
// Attaches or detaches the process's standard output on the results, warning and
// error channels, as the screen switch asks.
void applyScreenSwitch(Environment *env, int on);

} // namespace qvn
