/* Closing a messenger: its owner asks the thread to end and waits for the completion event, which keeps one signal.
 * Other completions use the same event, and a messenger of the same id elsewhere may take a signal (STOLEN times).
 *
 * Claim: close always returns, and when it returns, the thread has ended.
 *
 * Variant that must fail: -DSIGNAL_ALONE. Close waits for the signal alone and does not check whether the thread has
 * ended. If the thread ends between the request and the clearing of an old signal, close waits for ever.
 */
#ifndef STOLEN
#define STOLEN 1
#endif

bool closing = false;  /* step 2 is asked for */
bool finished = false; /* the completion event */
bool wake = false;     /* the thread's own event */
bool ended = false;
byte stolen = 0;
byte errors = 0;

active proctype Owner() {
    closing = true;
    if /* clears an old signal; does not wait */
    :: finished -> finished = false
    :: else -> skip
    fi;
    wake = true;
#ifdef SIGNAL_ALONE
    finished -> finished = false;
#else
    do
    :: ended -> break
    :: finished && !ended -> finished = false /* of something else: look again */
    :: !finished && !ended -> skip            /* a slice of the wait is over */
    od;
#endif
    ended; /* join */
    assert(closing && ended)
}

active proctype Thread() {
    do
    :: wake = false; /* signalled, or its own wait ran out */
       if
       :: closing -> break
       :: !closing && errors < 2 -> errors++; finished = true /* a step that failed is completed, too */
       :: else -> skip
       fi
    od;
    ended = true;
    finished = true
}

active proctype Other() {
end: do
    :: atomic { stolen < STOLEN && finished -> finished = false; stolen++ }
    od
}
