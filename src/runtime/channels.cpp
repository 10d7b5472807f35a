#include "runtime/channels.h"

#include <cstdarg>
#include <cstdio>

#include "runtime/alloc.h"
#include "runtime/environment.h"
#include "runtime/errors.h"
#include "runtime/frame.h"

namespace qvn {

Channel *createChannel() {
  auto *channel = static_cast<Channel *>(envCalloc(1, sizeof(Channel)));
  return channel;
}

namespace {

void flushDest(Destination *d) {
  if (d->kind == 1 && d->file) std::fflush(d->file);
  if (d->kind == 2 && d->fileSlot && *d->fileSlot) std::fflush(*d->fileSlot);
}

void disconnect(Channel *channel) {
  while (Destination *d = channel->head) {
    flushDest(d);
    channel->head = d->next;
    envFree(d);
  }
}

int addDest(Channel *channel, Destination proto) {
  auto *d = static_cast<Destination *>(envAlloc(sizeof(Destination)));
  if (!d) return QVNERR_NO_MEMORY;
  *d = proto;
  d->channel = channel;
  d->next = channel->head;
  channel->head = d;
  return 0;
}

// Unlinks the first destination that matches; false when none does.
template <class Match> bool removeFirst(Channel *channel, Match match) {
  for (Destination **link = &channel->head; *link; link = &(*link)->next) {
    if (match(**link)) {
      Destination *d = *link;
      *link = d->next;
      envFree(d);
      return true;
    }
  }
  return false;
}

bool hasFileDest(const Channel *channel, FILE *file) {
  for (const Destination *d = channel->head; d; d = d->next)
    if (d->kind == 1 && d->file == file) return true;
  return false;
}

int vmsg(Channel *channel, const char *format, va_list args) {
  char text[kMessageBufferSize];
  int length = std::vsnprintf(text, sizeof text, format, args);
  if (length < 0) return 0;
  if (length >= kMessageBufferSize) length = kMessageBufferSize - 1;
  if (!channel) return length;
  for (Destination *d = channel->head; d; d = d->next) {
    switch (d->kind) {
    case 1:
      if (d->file) std::fputs(text, d->file);
      break;
    case 2:
      if (d->fileSlot && *d->fileSlot) std::fputs(text, *d->fileSlot);
      break;
    case 3:
      d->function(d->userHandle, text);
      break;
    default:
      break;
    }
  }
  return length;
}

} // namespace

void freeChannel(Channel *&channel) {
  if (!channel) return;
  disconnect(channel);
  envFree(channel);
}

int addFileDestOnce(Channel *channel, FILE *file) {
  if (hasFileDest(channel, file)) return 0;
  return addDest(channel, Destination{nullptr, 1, nullptr, file, nullptr, nullptr, nullptr});
}

int removeFileDest(Channel *channel, FILE *file) {
  if (!channel) return QVNERR_NO_CHANNEL;
  return removeFirst(channel, [&](const Destination &d) { return d.kind == 1 && d.file == file; })
             ? 0
             : QVNERR_NO_FILENAME;
}

void applyScreenSwitch(Environment *env, int on) {
  Channel *channels[] = {env->resultsChannel, env->warningChannel, env->errorChannel};
  for (Channel *c : channels) {
    if (!c) continue;
    if (on)
      addFileDestOnce(c, stdout);
    else
      removeFileDest(c, stdout);
  }
}

} // namespace qvn

using namespace qvn;

extern "C" {

QVN_API QVNCHANNELptr QVNaddchannel(QVNENVptr env) {
  Channel *channel = nullptr;
  int status = guarded(env, [&]() -> int {
    channel = createChannel();
    if (!channel) return QVNERR_NO_MEMORY;
    if (int s = addResource(env, kResChannel, channel)) {
      freeChannel(channel);
      return s;
    }
    return 0;
  });
  return status ? nullptr : channel;
}

QVN_API int QVNdelchannel(QVNENVptr env, QVNCHANNELptr *channelPointer) {
  return guarded(env, [&]() -> int {
    if (!channelPointer || !*channelPointer) return 0;
    removeResource(env, kResChannel, *channelPointer);
    freeChannel(*channelPointer);
    return 0;
  });
}

QVN_API int QVNdisconnectchannel(QVNCENVptr env, QVNCHANNELptr channel) {
  return guarded(env, [&]() -> int {
    if (channel) disconnect(channel);
    return 0;
  });
}

QVN_API int QVNflushchannel(QVNCENVptr env, QVNCHANNELptr channel) {
  return guarded(env, [&]() -> int {
    if (channel)
      for (Destination *d = channel->head; d; d = d->next) flushDest(d);
    return 0;
  });
}

QVN_API int QVNaddfpdest(QVNCENVptr env, QVNCHANNELptr channel, FILE *file) {
  return guarded(env, [&]() -> int {
    if (!channel) return QVNERR_NO_CHANNEL;
    if (!file) return QVNERR_NO_FILENAME;
    return addDest(channel, Destination{nullptr, 1, nullptr, file, nullptr, nullptr, nullptr});
  });
}

QVN_API int QVNdelfpdest(QVNCENVptr env, QVNCHANNELptr channel, FILE *file) {
  return guarded(env, [&]() -> int { return removeFileDest(channel, file); });
}

QVN_API int QVNaddfuncdest(QVNCENVptr env, QVNCHANNELptr channel, void *userHandle,
                           void (*function)(void *, const char *)) {
  return guarded(env, [&]() -> int {
    if (!channel) return QVNERR_NO_CHANNEL;
    if (!function) return QVNERR_NO_FUNCTION;
    return addDest(channel,
                   Destination{nullptr, 3, nullptr, nullptr, nullptr, userHandle, function});
  });
}

QVN_API int QVNdelfuncdest(QVNCENVptr env, QVNCHANNELptr channel, void *userHandle,
                           void (*function)(void *, const char *)) {
  return guarded(env, [&]() -> int {
    if (!channel) return QVNERR_NO_CHANNEL;
    return removeFirst(channel,
                       [&](const Destination &d) {
                         return d.kind == 3 && d.function == function &&
                                d.userHandle == userHandle;
                       })
               ? 0
               : QVNERR_NO_FUNCTION;
  });
}

QVN_API int QVNmsg(QVNCHANNELptr channel, const char *format, ...) {
  if (!format) return 0;
  va_list args;
  va_start(args, format);
  int length = vmsg(channel, format, args);
  va_end(args);
  return length;
}

QVN_API int QVNmsgstr(QVNCHANNELptr channel, const char *text) {
  return QVNmsg(channel, "%s", text ? text : "");
}

QVN_API int QVNsetlogfile(QVNENVptr env, FILE *file) {
  return guarded(env, [&]() -> int {
    Channel *channels[] = {env->resultsChannel, env->warningChannel, env->errorChannel,
                           env->logChannel};
    if (FILE *old = env->generalParams->logFile)
      for (Channel *c : channels) removeFileDest(c, old);
    if (file)
      for (Channel *c : channels)
        addDest(c, Destination{nullptr, 1, nullptr, file, nullptr, nullptr, nullptr});
    env->generalParams->logFile = file;
    return 0;
  });
}

QVN_API int QVNgetlogfile(QVNCENVptr env, FILE **filePointer) {
  return guarded(env, [&]() -> int {
    if (!filePointer) return QVNERR_NULL_POINTER;
    *filePointer = env->generalParams->logFile;
    return 0;
  });
}

QVN_API int QVNgetchannels(QVNCENVptr env, QVNCHANNELptr *results, QVNCHANNELptr *warning,
                           QVNCHANNELptr *error, QVNCHANNELptr *log) {
  return guarded(env, [&]() -> int {
    if (results) *results = env->resultsChannel;
    if (warning) *warning = env->warningChannel;
    if (error) *error = env->errorChannel;
    if (log) *log = env->logChannel;
    return 0;
  });
}

QVN_API int QVNflushstdchannels(QVNCENVptr env) {
  return guarded(env, [&]() -> int {
    Channel *channels[] = {env->resultsChannel, env->logChannel, env->errorChannel,
                           env->warningChannel};
    for (Channel *c : channels)
      for (Destination *d = c->head; d; d = d->next) flushDest(d);
    return 0;
  });
}

} // extern "C"
