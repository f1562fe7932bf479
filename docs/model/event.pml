/* An event that resets itself (platform/src/event_state.h): waiters of different processes, each in its own seat,
 * setters, and the kernel's queue of sleepers. Each step changes the shared word at once. A process may be killed between
 * any two steps (KILLS of them): first its thread is gone, its locks fall later.
 *
 * Order: the waiters take seats. Then a setter sets SETS times, and a second setter once after it (SETTERS=2). Meanwhile
 * a late poller polls once (LATE). With TIMED a wait may time out at any moment. When all have ended, or sleep for ever,
 * the checker polls until no signal is kept.
 *
 * Claims
 *   No set is lost and none counts twice: as many signals are taken, the last ones by the checker, as were set. Sets that
 *   met a kept signal while nobody waited count as one with it.
 *   A released waiter owns its signal: as long as each set finds a waiter, the late poller gets none.
 *   With one set for each waiter, every waiter comes back; with DEAD_FIRST (kills before the sets) every living one.
 *   With KILL_SETTER the next set brings a waiter back, and the killed setter's set happened or did not.
 *
 * Variants that must fail:
 *   -DMERGE           a set during a release that was not yet taken merges with it
 *   -DSTEAL           a poller takes the signal of a waiter that was released
 *   -DNO_HAND_ON      a set does not check whether the waiter that it released has died
 *   -DHAND_ON_BLINDLY a set does not check whether that waiter took its signal before it left its seat
 *   -DNO_LEFT_BEHIND  nobody looks for the signals of dead waiters
 *   -DNO_WAKE_AGAIN   a set wakes only the waiter that it has released itself
 */
#define WAITERS 2
#ifndef SITTING
#define SITTING 2 /* waiters that take part */
#endif
#ifndef SETS
#define SETS 2
#endif
#ifndef SETTERS
#define SETTERS 1
#endif
#ifndef KILLS
#define KILLS 0
#endif
#define NONE 7
#define SETTER (WAITERS)              /* number of the first setter, then the second one, then the late poller */
#define POLLER (WAITERS + 2)
#define PROCESSES (WAITERS + 3)

/* the shared word */
bool kept = false;
bool seated[WAITERS];
bool released[WAITERS];
byte turn = 0; /* a hint of its own */

/* the kernel */
bool asleep[WAITERS];
byte lock[WAITERS]; /* of a seat: 0 free, else 1 + its process */
bool killed[PROCESSES];

/* who has come how far */
bool sat[WAITERS];
bool ended[PROCESSES];
bool back[WAITERS]; /* released */
byte taken = 0;
byte sets = 0;  /* completed */
byte merged = 0;
byte kills = 0;
bool lateTook = false;
byte victim;
bool isGone = false; /* a victim's locks have fallen */

#define satDown(i) (sat[i] || ended[i])
#define waits(i) (seated[i] && !released[i])

/* Next one that waits, after the one that was released last. */
inline pick(seat) {
    seat = NONE;
    if
    :: waits(1 - turn) -> seat = 1 - turn
    :: !waits(1 - turn) && waits(turn) -> seat = turn
    :: else -> skip
    fi
}

inline apply(seat) {
    if
    :: seat == NONE && kept -> merged++ /* nobody waits and a signal is kept: both count as one */
    :: seat == NONE && !kept -> kept = true
    :: else -> released[seat] = true; turn = seat
    fi
}


inline set(self, seat, other, woke) {
    d_step {
        other = released[0] || released[1];
#ifdef MERGE
        seat = NONE;
        if
        :: other || kept -> skip
        :: else -> pick(seat); apply(seat)
        fi
#else
        pick(seat);
        apply(seat)
#endif
    }
#ifndef NO_WAKE_AGAIN
    if
    :: other -> d_step {
           if
           :: released[0] -> asleep[0] = false
           :: else -> skip
           fi;
           if
           :: released[1] -> asleep[1] = false
           :: else -> skip
           fi
       }
    :: else -> skip
    fi;
#endif
    do
    :: seat == NONE -> break
    :: else ->
       d_step { woke = asleep[seat]; asleep[seat] = false }
       if
       :: woke -> break
       :: else ->
#ifdef NO_HAND_ON
          break
#else
          d_step { woke = (lock[seat] != 0); if :: !woke -> lock[seat] = self + 1 :: else -> skip fi }
          if
          :: woke -> break /* it lives, and will see that it was released */
          :: else ->
             other = seat;
             d_step {
                 seat = NONE;
                 if
#ifndef HAND_ON_BLINDLY
                 :: !released[other] -> skip /* it took its signal before it let the seat go */
                 :: else ->
#else
                 :: true ->
#endif
                    seated[other] = false;
                    released[other] = false;
                    pick(seat);
                    apply(seat)
                 fi
             }
             d_step { lock[other] = 0; other = 0 }
          fi
#endif
       fi
    od
}

/* One poll: the kept signal, or that of a dead one. */
inline take(self, took, seat, free) {
    took = false;
    d_step {
        if
        :: kept -> kept = false; took = true; taken++
        :: else -> skip
        fi
#ifdef STEAL
        if
        :: !took && released[0] -> released[0] = false; took = true; taken++
        :: else -> skip
        fi
#endif
    }
#ifndef NO_LEFT_BEHIND
    seat = 0;
    do
    :: took || seat == WAITERS -> break
    :: else ->
       d_step { free = released[seat] && lock[seat] == 0; if :: free -> lock[seat] = self + 1 :: else -> skip fi }
       if
       :: free ->
          d_step {
              if
              :: released[seat] -> released[seat] = false; seated[seat] = false; took = true; taken++
              :: else -> skip
              fi
          }
          d_step { lock[seat] = 0; free = false }
       :: else -> skip
       fi;
       seat++
    od
#endif
}

proctype Waiter(byte self) {
    bool took, late, free, expectedKept, expected0, expected1;
    byte seat;
    {
        d_step { lock[self] = self + 1; seated[self] = true }
        sat[self] = true;
        do
        :: d_step { /* look */
               expectedKept = kept;
               expected0 = released[0];
               expected1 = released[1];
               took = false
           }
           if
           :: released[self] -> /* what was seen may be old; a step tries again then */
              d_step {
                  if
                  :: released[self] -> released[self] = false; seated[self] = false; took = true; taken++
                  :: else -> skip
                  fi
              }
              if
              :: took -> back[self] = true; goto done
              :: else -> skip
              fi
           :: !released[self] && late ->
              d_step {
                  if
                  :: !released[self] -> seated[self] = false; took = true
                  :: else -> skip
                  fi
              }
              if
              :: took -> take(self, took, seat, free); back[self] = took; goto done
              :: else -> skip
              fi
           :: !released[self] && !late ->
              d_step { /* the kernel compares and queues in one step */
                  if
                  :: expectedKept == kept && expected0 == released[0] && expected1 == released[1] ->
                      asleep[self] = true
                  :: else -> skip
                  fi
              }
endAsleep:
              if
              :: !asleep[self] -> skip
#ifdef TIMED
              :: d_step { asleep[self] -> asleep[self] = false; late = true }
#endif
              fi
           fi
        od;
done:   skip
    } unless { killed[self] };
    d_step {
        ended[self] = true;
        if
        :: !killed[self] -> lock[self] = 0
        :: else -> skip
        fi
    }
}

proctype Setter(byte self; byte count) {
    byte seat, i;
    byte other;
    bool woke;
    {
        satDown(0) && satDown(1) && (self == SETTER || ended[SETTER]);
#ifdef DEAD_FIRST
        isGone;
#endif
        do
        :: i == count -> break
        :: else -> set(self, seat, other, woke); sets++; i++
        od
    } unless { killed[self] };
    ended[self] = true
}

proctype Poller() {
    bool took, free;
    byte seat;
    satDown(0) && satDown(1);
    take(POLLER, took, seat, free);
    lateTook = took;
    ended[POLLER] = true
}

proctype Killer() {
end:
    do
    :: kills < KILLS ->
       kills++;
#ifdef KILL_SETTER
       victim = SETTER;
#else
       if
       :: victim = 0
       :: victim = 1
       fi;
#endif
       if
       :: ended[victim] || killed[victim] -> skip
       :: else ->
          d_step { killed[victim] = true; if :: victim < WAITERS -> asleep[victim] = false :: else -> skip fi }
          d_step { /* its locks fall */
              if
              :: lock[0] == victim + 1 -> lock[0] = 0
              :: else -> skip
              fi;
              if
              :: lock[1] == victim + 1 -> lock[1] = 0
              :: else -> skip
              fi
          }
       fi
    :: kills >= KILLS -> break
    od;
    isGone = true
}

#ifdef TIMED
#define over(i) (ended[i])
#else
#define over(i) (ended[i] || asleep[i])
#endif

proctype Checker() {
    bool took, free;
    byte seat;
    isGone && ended[SETTER] && (SETTERS == 1 || ended[SETTER + 1]);
#ifdef LATE
    ended[POLLER];
#endif
    over(0) && over(1);
    do
    :: take(SETTER + 3, took, seat, free);
       if
       :: took -> skip
       :: else -> break
       fi
    od;
#ifdef KILL_SETTER
    assert(taken + merged >= sets && taken + merged <= sets + 1);
#ifndef TIMED
    assert(back[0] || back[1])
#endif
#else
    assert(taken + merged == sets);
#ifndef TIMED
    assert(KILLS > 0 || SETS > SITTING || !lateTook);
#ifndef DEAD_FIRST
    assert(KILLS > 0 || SETS < SITTING || (back[0] && (back[1] || SITTING == 1)))
#else
    assert((killed[0] || back[0]) && (killed[1] || back[1]))
#endif
#endif
#endif
}

init {
    atomic {
        run Waiter(0);
        if
        :: SITTING == 2 -> run Waiter(1)
        :: else -> ended[1] = true; killed[1] = true
        fi;
        run Setter(SETTER, SETS);
#if SETTERS > 1
        run Setter(SETTER + 1, 1);
#endif
#ifdef LATE
        run Poller();
#endif
        run Killer();
        run Checker()
    }
}
