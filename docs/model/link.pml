/* The request/response link: two processes, each with a sender, a receiver and the messenger's loop. Side 1 asks,
 * side 0 answers, as the simulator and the camera do.
 *
 * Memory m is written by side m and read by the other one. It exists as long as somebody holds it; the marks and the
 * message in it survive the death of one holder. Event m wakes the reader of memory m and keeps one signal.
 *
 * What may happen besides, each only so many times: a process is killed between any two stores and started again
 * (KILLS), a wait fails (FAILED_WAITS), the asker gives up early, so that the answer comes late (LATE).
 *
 * Claim, checked as "no run without progress" under weak fairness: once these are used up, asks are answered again and
 * again; from every state that can be reached.
 *
 * Variants that must fail: -DNO_REATTACH, a receiver whose own mark was cleared does not attach again; -DNO_RENEW, the
 * asker does not lay its end of the link anew when it gets no answer; -DLONGEST=1, it never gives the other side more time than one wait.
 */
#ifndef KILLS
#define KILLS 2
#endif
#ifndef FAILED_WAITS
#define FAILED_WAITS 1
#endif
#ifndef LATE
#define LATE 1
#endif
#define PATIENCE 4 /* passes of both loops after which a request counts as not answered although they are busy */
#ifndef LONGEST
#define LONGEST 4 /* the asker's patience before it lays its end anew grows up to so many waits of the other side */
#endif
#define IDS 3      /* message ids are 1 .. IDS, over and over; 0: none */

#define TIMEOUT 0
#define SIGNALLED 1
#define WRITER_LEFT 2
#define NOT_CONNECTED 3
#define WAIT_FAILED 4

/* shared between the processes */
bool senderHolds[2], receiverHolds[2]; /* of memory m */
bool writerMark[2], readerMark[2];
byte message[2]; /* id of the frame in the fifo, which holds one; 0: empty */
bool event[2];

/* of one process */
bool kill[2];
bool waits[2]; /* its loop waits for its event */
byte hand[2]; /* id of the frame that is being handled */
byte passes[2];
byte quiet = 0; /* waits of side 0 that ran out since the last answer, or since the link was laid anew */
byte tries = 0; /* likewise: asks without an answer; each takes about half as long as a wait */
byte patience = 1;
byte current = 0; /* side 1: id of the request to be sent */
bool asking = false; /* its owner waits for the answer */
bool answered = false;
bit lastRanOut = 0;
bool renew = false;  /* the asker wants its end of the link laid anew */

byte kills = 0, failedWaits = 0, late = 0;

/* No frame of the request is anywhere: neither in a fifo nor being handled. */
#define nowhere(id) (message[0] != id && message[1] != id && hand[0] != id && hand[1] != id)

/* Time passes, it seems, only while there is nothing to do: waits last seconds, everything else microseconds. What
 * comes at another moment all the same, each such case counts as late. */
#define quiescent (waits[0] && waits[1] && !event[0] && !event[1])
/* The two waits are equally long, so they run out by turns; the owner's is shorter than both. */
#define mayRunOut(own) (quiescent && lastRanOut != own && !givesUp)
#define givesUp (asking && !answered && passes[0] >= 1 && passes[1] >= 1)

#define writing(m) (senderHolds[m] && writerMark[m] && readerMark[m])   /* the sender's isConnected */
#define reading(m) (receiverHolds[m] && writerMark[m] && readerMark[m]) /* the receiver's isConnected */

inline openSender(m) {
    if
    :: senderHolds[m] -> skip
    :: else ->
       d_step {
           if
           :: receiverHolds[m] -> skip /* it exists: link */
           :: else -> writerMark[m] = false; readerMark[m] = false; message[m] = 0
           fi;
           senderHolds[m] = true
       }
       d_step { readerMark[m] = false; message[m] = 0; writerMark[m] = true }
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
    lastRanOut = 1 - m;
    if
    :: m == 1 && quiet < LONGEST -> quiet++
    :: else -> skip
    fi
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

/* A frame is written whole or not at all. */
inline send(m, id) {
    d_step {
        if
        :: senderHolds[m] && writerMark[m] && message[m] == 0 -> message[m] = id
        :: else -> skip
        fi
    }
    event[m] = true
}

inline receive(m, id) {
    d_step {
        id = message[m];
        if
        :: readerMark[m] -> message[m] = 0
        :: else -> id = 0
        fi
    }
}

inline established(own, peers, status) {
    if
    :: status == TIMEOUT ->
       if
       :: writing(own) -> skip
       :: else -> openSender(own)
       fi
    :: status == WAIT_FAILED -> closeReceiver(peers); closeSender(own)
    :: status == WRITER_LEFT -> closeSender(own)
    :: else -> skip
    fi
}

/* The loops differ in what they do with a frame and in what they send by themselves. */
inline pass(own, peers, status, lastSent) {
    wait(peers, status);
    established(own, peers, status);
    if
    :: status == SIGNALLED ->
       receive(peers, hand[own]);
       if
       :: hand[own] != 0 && hand[own] == lastSent -> answered = true
       :: hand[own] != 0 && hand[own] != lastSent -> send(own, hand[own]) /* a request, it seems: answered */
       :: else -> skip
       fi;
       if
       :: own == 1 && current != lastSent -> send(own, current); lastSent = current
       :: else -> skip
       fi
    :: else -> skip
    fi;
    hand[own] = 0;
    d_step {
        if
        :: passes[own] < PATIENCE -> passes[own]++
        :: else -> skip
        fi
    }
}

inline died(own, peers) {
    d_step {
        kill[own];
        kill[own] = false;
        hand[own] = 0;
        waits[own] = false;
        senderHolds[own] = false;
        receiverHolds[peers] = false
    }
}

active proctype Answering() {
    byte status, lastSent;
started:
    {
        openSender(0);
        openReceiver(1);
        do
        :: pass(0, 1, status, lastSent)
        od
    } unless { died(0, 1) };
    status = 0; lastSent = 0;
    goto started
}

active proctype Asking() {
    byte status, lastSent;
started:
    {
        openSender(1);
        openReceiver(0);
        do
        :: renew ->
           closeReceiver(0);
           closeSender(1);
           event[1] = true; /* so that the other side looks, and sees that the writer has left */
           passes[0] = 0;
           waits[1] = true;
           passes[0] >= 1; /* the other side has had the time to look */
           waits[1] = false;
           lastSent = 0;
           openSender(1);
           openReceiver(0);
           quiet = 0;
           tries = 0;
           renew = false
        :: else -> pass(1, 0, status, lastSent)
        od
    } unless { died(1, 0) };
    status = 0; lastSent = 0; renew = false;
    goto started
}

active proctype Owner() {
    do
    :: atomic {
           current = current % IDS + 1;
           answered = false;
           passes[0] = 0;
           passes[1] = 0;
           asking = true;
           event[0] = true; /* wakes the own loop */
           if
           :: answered -> quiet = 0; tries = 0; patience = 1
           :: givesUp && quiescent -> skip
           :: !answered && passes[0] >= PATIENCE && passes[1] >= PATIENCE && nowhere(current) -> skip
           :: !answered && late < LATE -> late++
           fi;
           if
           :: !answered && tries < 2 * LONGEST -> tries++
           :: else -> skip
           fi;
           asking = false;
#ifndef NO_RENEW
           if
           :: !answered && (quiet >= patience || tries >= 2 * patience) ->
              renew = true;
              !renew;
              if
              :: patience < LONGEST -> patience++
              :: else -> skip
              fi
           :: else -> skip
           fi
#endif
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
