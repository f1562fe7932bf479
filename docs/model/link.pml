/* The request/response link: two processes, each with a sender, a receiver and the messenger's loop. Side 1 asks,
 * side 0 answers, as the simulator and the camera do.
 *
 * Side m writes memory m, and the other side reads it. It exists as long as a side holds it; the marks and the frame in
 * it survive the death of one holder. Event m wakes the reader of memory m and keeps one signal.
 *
 * What may go wrong, each for a limited number of times: a process is killed between any two stores and started again
 * (KILLS); a wait fails (FAILED_WAITS); something takes so long that a wait times out meanwhile, or that it meets the
 * moment between a sender's two steps of recreating a fifo (LATE).
 *
 * Claim, checked as "no run without progress" under weak fairness: once these are used up, requests are answered again
 * and again, from every state that can be reached. And no request is answered with the answer to another one.
 *
 * Each healing step of the messenger has a variant without it, which must fail: -DNO_REATTACH, -DNO_LOOK, -DNO_SEEK,
 * -DNO_LEAVE, -DNO_RELAY, -DNO_ECHO_LIMIT, -DPIECES_ALONE. -DKNOCK_ALWAYS together with -DFOLLOWS_RULES_ALONE=1, a peer
 * that takes none of the steps, must fail, too. README.md explains what they find.
 */
#ifndef KILLS
#define KILLS 1
#endif
#ifndef FAILED_WAITS
#define FAILED_WAITS 0
#endif
#ifndef LATE
#define LATE 0
#endif
#ifndef FOLLOWS_RULES_ALONE
#define FOLLOWS_RULES_ALONE 0 /* 1: side 0 opens its ends only at timeouts and answers every frame */
#endif
#define IDS 3         /* message ids are 1 .. IDS, over and over; 0: none */
#define ASKS 2        /* requests within one wait */
#define PATIENCE 4    /* passes of both loops after which a request counts as not answered although they are busy */
#define DEAF 3        /* passes of the other side without being heard, after which the asker leaves and comes back */
#define UNANSWERED 2  /* requests in a row without an answer before the fifo is recreated for the next one */

#define FOREIGN 0     /* what the asker knows of an id: not its own, */
#define MINE 1        /* its own, */
#define LATE_ANSWER 2 /* its own, and the answer that came too late was answered */

#define TIMEOUT 0
#define SIGNALLED 1
#define WRITER_LEFT 2
#define NOT_CONNECTED 3
#define WAIT_FAILED 4

/* shared between the processes */
bool senderHolds[2], receiverHolds[2]; /* of memory m */
bool writerMark[2], readerMark[2];
byte header[2];  /* id of the frame in the fifo, which holds one; 0: none */
byte payload[2]; /* id of the request that it belongs to; 0: none */
bool event[2];

/* of one process */
bool kill[2];
bool waits[2];  /* its loop waits for its event */
byte passes[2]; /* of its loop, since the last request */
byte hand[2];   /* id of the frame that is being handled */
byte about[2];  /* id of the request that its payload belongs to; 0: what an earlier one has left in the record */
byte current = 0; /* side 1: id of the request to be sent */
bool asking = false;
bool answered = false;
bool failed = false; /* the link was found down while the request was pending */
byte mine[IDS + 1]; /* side 1: what it knows of each id */
byte foreign = 0;   /* side 1: id of another one's frame that it has answered last */
byte deaf = 0; /* side 1: 0 heard; else 1 + passes of side 0 since it could not be heard */
byte asks = 0; /* since the other side's loop last turned */
bit lastRanOut = 0;

byte kills = 0, failedWaits = 0, late = 0;

/* Time passes only while there is nothing to do: waits last seconds, everything else microseconds. The two waits are
 * equally long, so they run out by turns. The owner's is shorter than both: it asks up to ASKS times within one of them. */
#define quiescent (waits[0] && waits[1] && !event[0] && !event[1])
#define givesUp (asking && !answered && (failed || (passes[0] >= 1 && passes[1] >= 1)))
#define mayRunOut(own) (quiescent && lastRanOut != own && (asks >= ASKS || (asking && !answered && !givesUp)))
#define nowhere(id) (header[0] != id && header[1] != id && hand[0] != id && hand[1] != id)

#define isEmpty(m) (header[m] == 0 && payload[m] == 0)

#define writing(m) (senderHolds[m] && writerMark[m] && readerMark[m])   /* the sender's isConnected */
#define reading(m) (receiverHolds[m] && writerMark[m] && readerMark[m]) /* the receiver's isConnected */

inline clear(m) {
    header[m] = 0;
    payload[m] = 0
}

inline openSender(m) {
    if
    :: senderHolds[m] -> skip
    :: else ->
       d_step {
           if
           :: receiverHolds[m] -> skip /* it exists: link */
           :: else -> writerMark[m] = false; readerMark[m] = false; clear(m)
           fi;
           senderHolds[m] = true
       }
       d_step { readerMark[m] = false; clear(m); writerMark[m] = true }
    fi
}

inline closeSender(m) {
    if
    :: senderHolds[m] -> writerMark[m] = false; senderHolds[m] = false
    :: else -> skip
    fi
}

inline openReceiver(m) {
    if
    :: receiverHolds[m] || !senderHolds[m] || (!writerMark[m] && late >= LATE) -> skip
    :: else ->
       d_step {
           if
           :: !writerMark[m] -> late++ /* between the sender's two steps */
           :: else -> skip
           fi;
           receiverHolds[m] = true
       }
       if
       :: d_step { readerMark[m] -> receiverHolds[m] = false } /* another reader */
       :: else -> readerMark[m] = true
       fi
    fi
}

inline closeReceiver(m) {
    if
    :: receiverHolds[m] -> readerMark[m] = false; receiverHolds[m] = false
    :: else -> skip
    fi
}

inline ranOut(m, status) {
    status = TIMEOUT;
    waits[1 - m] = false;
    lastRanOut = 1 - m
}

inline wait(m, status) {
    waits[1 - m] = true;
    if
    :: d_step { event[m] -> event[m] = false; waits[1 - m] = false; status = SIGNALLED }
    :: d_step { mayRunOut(1 - m) -> ranOut(m, status) }
    :: d_step { !event[m] && late < LATE -> late++; ranOut(m, status) }
    :: d_step { failedWaits < FAILED_WAITS -> failedWaits++; waits[1 - m] = false; status = WAIT_FAILED }
    fi;
    if
    :: receiverHolds[m] && !writerMark[m] -> closeReceiver(m); status = WRITER_LEFT
    :: else ->
       if
#ifndef NO_REATTACH
       :: receiverHolds[m] && !readerMark[m] -> receiverHolds[m] = false; openReceiver(m)
#endif
       :: else -> openReceiver(m)
       fi;
       if
       :: reading(m) -> skip
       :: else -> status = NOT_CONNECTED
       fi
    fi
}

#ifdef PIECES_ALONE
#define byPieces(own) true
#else
#define byPieces(own) (FOLLOWS_RULES_ALONE && own == 0)
#endif

/* Header and payload are written one after the other, both or none of them; by the rules alone, each where it fits. */
inline send(m, id, content) {
    if
    :: !byPieces(m) ->
       if
       :: d_step { senderHolds[m] && writerMark[m] && isEmpty(m) -> header[m] = id }
          if
          :: d_step { header[m] == id && payload[m] == 0 -> payload[m] = content }
          :: else -> skip /* only this side recreates it */
          fi
       :: else -> skip
       fi
    :: else ->
       d_step {
           if
           :: senderHolds[m] && writerMark[m] && header[m] == 0 -> header[m] = id
           :: else -> skip
           fi
       }
       d_step {
           if
           :: senderHolds[m] && writerMark[m] && payload[m] == 0 -> payload[m] = content
           :: else -> skip
           fi
       }
    fi;
    event[m] = true
}

/* Header and payload are read one after the other, once both are there; by the rules alone, as soon as anything is. */
inline receive(own, m) {
    if
    :: d_step {
           readerMark[m] && header[m] != 0 && (payload[m] != 0 || byPieces(own)) ->
           hand[own] = header[m];
           header[m] = 0
       }
       d_step {
           if
           :: readerMark[m] -> about[own] = payload[m]; payload[m] = 0
           :: else -> hand[own] = 0
           fi
       }
    :: else -> skip
    fi
}

inline look(own, peers) {
    if
    :: writing(own) -> skip
    :: else -> openSender(own)
    fi
    /* The receiver is connected, or the wait has just tried. */
}

/* Side 0 never asks, so what comes to it is no answer of its own. Side 1 answers the first late frame of each of its own
 * ids; and a foreign one once, from its first request on. */
inline answer(own, id) {
    if
#ifndef NO_ECHO_LIMIT
    :: own == 1 && mine[id] == LATE_ANSWER -> skip
    :: own == 1 && mine[id] == FOREIGN && foreign == id && lastSent != 0 -> foreign = 0
#endif
    :: else ->
       d_step {
           if
           :: own == 1 && mine[id] == MINE -> mine[id] = LATE_ANSWER
           :: own == 1 && mine[id] == FOREIGN -> foreign = id
           :: else -> skip
           fi
       }
       send(own, id, about[own])
    fi
}

/* Only the asking side, with a request that was not sent yet. */
inline seek() {
    if
    :: !writing(1) && senderHolds[1] -> deaf = 0
    :: !writing(1) && !senderHolds[1] -> deaf = 0; openSender(1); event[1] = true
    :: writing(1) && deaf == 0 -> deaf = 1
#ifndef NO_LEAVE
    :: writing(1) && deaf > DEAF -> deaf = 0; closeSender(1); event[1] = true
#endif
    :: else -> skip
    fi;
#ifdef KNOCK_ALWAYS
    event[1] = true
#endif
}

inline request(lastSent, unanswered) {
    d_step { lastSent = current; mine[current] = MINE }
    if
#ifndef NO_RELAY
    :: unanswered >= UNANSWERED && senderHolds[1] && !isEmpty(1) ->
       d_step { readerMark[1] = false; clear(1); writerMark[1] = true; unanswered = 0; event[1] = true }
#endif
    :: else ->
       if
       :: unanswered < UNANSWERED -> unanswered++
       :: else -> skip
       fi;
       send(1, current, current)
    fi
}

/* One turn of the loop. */
inline pass(own, peers, status, lastSent, unanswered) {
    wait(peers, status);
    if
    :: status == SIGNALLED ->
       receive(own, peers);
       if
       :: hand[own] != 0 ->
          unanswered = 0;
          if
          :: hand[own] == lastSent ->
             assert(about[own] == lastSent || FOLLOWS_RULES_ALONE); /* the answer to this request, not to another one */
             answered = true
          :: else -> answer(own, hand[own])
          fi
       :: else -> skip
       fi;
       if
       :: own == 1 && current != lastSent -> request(lastSent, unanswered)
       :: else -> skip
       fi;
#ifndef NO_LOOK
       if
       :: FOLLOWS_RULES_ALONE && own == 0 -> skip
       :: else -> look(own, peers)
       fi;
#endif
       if
       :: own == 1 -> deaf = 0
       :: else -> skip
       fi
    :: status == TIMEOUT ->
       d_step {
           if
           :: header[peers] != 0 && payload[peers] == 0 && readerMark[peers] && !(FOLLOWS_RULES_ALONE && own == 0) -> header[peers] = 0
           :: else -> skip
           fi
       }
       look(own, peers)
    :: else ->
       if
       :: status == WAIT_FAILED -> closeReceiver(peers); closeSender(own)
       :: status == WRITER_LEFT -> closeSender(own)
       :: else -> skip
       fi;
       if
#ifndef NO_SEEK
       :: own == 1 && status == NOT_CONNECTED && current != lastSent -> seek()
#endif
       :: else -> skip
       fi;
       if
       :: own == 1 -> failed = true
       :: else -> skip
       fi
    fi;
    d_step {
        hand[own] = 0;
        about[own] = 0;
        if
        :: passes[own] < PATIENCE -> passes[own]++
        :: else -> skip
        fi;
        if
        :: own == 0 ->
           asks = 0;
           if
           :: deaf > 0 && deaf <= DEAF -> deaf++
           :: else -> skip
           fi
        :: else -> skip
        fi
    }
}

inline died(own, peers) {
    d_step {
        kill[own];
        kill[own] = false;
        hand[own] = 0;
        about[own] = 0;
        waits[own] = false;
        senderHolds[own] = false;
        receiverHolds[peers] = false
    }
}

active proctype Answering() {
    byte status, lastSent, unanswered;
started:
    {
        openSender(0);
        openReceiver(1);
        do
        :: pass(0, 1, status, lastSent, unanswered)
        od
    } unless { died(0, 1) };
    d_step { status = 0; unanswered = 0 }
    goto started
}

active proctype Asking() {
    byte status, lastSent, unanswered;
started:
    {
        openSender(1);
        openReceiver(0);
        do
        :: pass(1, 0, status, lastSent, unanswered)
        od
    } unless { died(1, 0) };
    d_step {
        status = 0;
        lastSent = 0;
        unanswered = 0;
        deaf = 0;
        foreign = 0;
        mine[1] = FOREIGN;
        mine[2] = FOREIGN;
        mine[3] = FOREIGN
    }
    goto started
}

/* Asks again and again. */
active proctype Owner() {
    do
    :: atomic {
           (quiescent && asks < ASKS) || late < LATE ->
           if
           :: quiescent -> skip
           :: else -> late++
           fi;
           asks = (asks < ASKS -> asks + 1 : asks);
           current = current % IDS + 1;
           answered = false;
           failed = false;
           passes[0] = 0;
           passes[1] = 0;
           asking = true;
           event[0] = true; /* wakes the own loop */
           if
           :: answered -> skip
           :: givesUp && quiescent -> skip
           :: !answered && passes[0] >= PATIENCE && passes[1] >= PATIENCE && nowhere(current) -> skip
           :: !answered && late < LATE -> late++
           fi;
           asking = false
       }
       if
       :: answered ->
progress:  skip
       :: else -> skip
       fi
    od
}

active proctype Killer() {
    do
    :: kills < KILLS -> d_step { kills++; kill[0] = true }; !kill[0]
    :: kills < KILLS -> d_step { kills++; kill[1] = true }; !kill[1]
    :: break
    od
}
