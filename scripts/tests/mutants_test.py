"""What mutation.py and mutants.py promise, tried on small sources."""
import contextlib
import io
import os
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), '..'))
import mutants  # noqa: E402
import mutation  # noqa: E402

NAMES = [operator.name for operator in mutation.OPERATORS]


def changed_lines(body, *operators, head='int f(int a, int b) {\n'):
    """All lines that the operators make of a function's body; without operators, all of them."""
    found = mutation.changes_of('f.cpp', f'{head}{body}\n}}\n')
    return [change.after for change in found if change.operator in (operators or NAMES)]


class OperatorsTest(unittest.TestCase):
    def test_relations_are_swapped(self):
        self.assertEqual(changed_lines('x = a < b;', 'relation'), ['x = a <= b;', 'x = a >= b;'])
        self.assertEqual(changed_lines('x = a <= b;', 'relation'), ['x = a < b;', 'x = a > b;'])
        self.assertEqual(changed_lines('x = a > b;', 'relation'), ['x = a >= b;', 'x = a <= b;'])
        self.assertEqual(changed_lines('x = a >= b;', 'relation'), ['x = a > b;', 'x = a < b;'])
        self.assertEqual(changed_lines('x = a == b;', 'relation'), ['x = a != b;'])
        self.assertEqual(changed_lines('x = a != b;', 'relation'), ['x = a == b;'])

    def test_brackets_of_templates_and_shifts_are_no_relations(self):
        self.assertEqual(changed_lines('std::vector<int> v; x = a << b; y = p->q; bool operator==(X) const;',
                                       'relation', 'step'), [])
        self.assertEqual(changed_lines('', head='template <\ntypename T>\nvoid f() {\n'), [])

    def test_logic_is_swapped_and_references_are_not(self):
        self.assertEqual(changed_lines('x = a && b || c;', 'logic'), ['x = a || b || c;', 'x = a && b && c;'])
        self.assertEqual(changed_lines('auto&& x = a;', 'logic'), [])

    def test_constants_are_swapped_and_names_that_hold_them_are_not(self):
        self.assertEqual(changed_lines('x = true; y = is_false;', 'constant'), ['x = false; y = is_false;'])

    def test_arithmetic_is_swapped_where_it_has_two_sides(self):
        self.assertEqual(changed_lines('x = a + b * -c;', 'arithmetic'), ['x = a - b * -c;', 'x = a + b / -c;'])
        self.assertEqual(changed_lines('x -= a / b;', 'arithmetic'), ['x += a / b;', 'x -= a * b;'])
        self.assertEqual(changed_lines('char* x = &a; y = *x;', 'arithmetic'), [])
        self.assertEqual(changed_lines('x = a + "text";', 'arithmetic'), [])

    def test_steps_are_swapped(self):
        self.assertEqual(changed_lines('++x; y--;', 'step'), ['--x; y--;', '++x; y++;'])

    def test_numbers_are_off_by_one(self):
        self.assertEqual(changed_lines('x = 7;', 'number'), ['x = 8;', 'x = 6;'])
        self.assertEqual(changed_lines("x = 10'000u;", 'number'), ['x = 10001u;', 'x = 9999u;'])
        self.assertEqual(changed_lines('x = 0;', 'number'), ['x = 1;'])
        self.assertEqual(changed_lines('x = 0x0f;', 'number'), ['x = 0x10;', 'x = 0xe;'])
        self.assertEqual(changed_lines('x = 1.5;', 'number'), ['x = 2.5;'])

    def test_durations_and_sizes_of_buffers_stay(self):
        self.assertEqual(changed_lines('char x[64]; std::array<char, 8> y; wait(5ms);', 'number'), [])
        self.assertEqual(changed_lines('constexpr std::chrono::milliseconds kPause{10};', 'number'), [])
        self.assertEqual(changed_lines("constexpr std::int64_t kPollNs = 20'000'000;", 'number'), [])
        self.assertEqual(changed_lines('virtual int f() const = 0;', 'number', head='class X {\n'), [])

    def test_negations_are_removed(self):
        self.assertEqual(changed_lines('x = !a; y = b != c;', 'negation'), ['x = a; y = b != c;'])

    def test_calls_are_removed_whose_result_is_unused(self):
        self.assertEqual(changed_lines('a.b(1)->c();', 'call'), [';'])
        self.assertEqual(changed_lines('if (a) b();', 'call'), ['if (a) ;'])
        self.assertEqual(changed_lines('::b();', 'call'), [';'])
        self.assertEqual(changed_lines('if (a)  // why\n    b();', 'call'), [';'])
        self.assertEqual(changed_lines('if (a)\n#if C\n    b();', 'call'), [';'])
        self.assertEqual(changed_lines('case 1: b();', 'call'), ['case 1: ;'])
        self.assertEqual(changed_lines('x = b(); return c(); int y(1); throw d(); T z;', 'call'), [])

    def test_a_removed_call_leaves_its_lines(self):
        text = 'void f() {\n    a(1,\n      2);\n    b();\n}\n'
        change = mutation.changes_of('f.cpp', text)[-2]
        self.assertEqual(change.operator, 'call')
        self.assertEqual(mutation.changed(text, change), 'void f() {\n    \n;\n    b();\n}\n')

    def test_declarations_are_no_calls(self):
        self.assertEqual(changed_lines('X(int a);\n int y();', 'call', head='class X {\n'), [])

    def test_results_become_default_ones(self):
        self.assertEqual(changed_lines('return a + b;', 'return'), ['return {};'])
        self.assertEqual(changed_lines('return [](int x) { g(x); }(1);', 'return'), ['return {};'])
        for value in ('', ' 0', ' {}', ' nullptr', ' false', ' std::nullopt'):
            self.assertEqual(changed_lines(f'return{value};', 'return'), [])

    def test_conditions_hold_always_or_never(self):
        self.assertEqual(changed_lines('if (a(b)) c();', 'condition'), ['if (true) c();', 'if (false) c();'])
        self.assertEqual(changed_lines('if (int x = a; x) c();', 'condition'),
                         ['if (int x = a; true) c();', 'if (int x = a; false) c();'])
        self.assertEqual(changed_lines('while (a) c();', 'condition'), ['while (false) c();'])
        self.assertEqual(changed_lines('while (true) c();', 'condition'), [])

    def test_memory_orders_stay(self):
        self.assertEqual(changed_lines('x.store(a, std::memory_order_release);', 'relation', 'number', 'constant'), [])

    def test_every_operator_is_listed_and_found(self):
        self.assertEqual(set(NAMES), set(mutation.FINDERS))
        with contextlib.redirect_stdout(io.StringIO()) as output:
            self.assertEqual(mutants.main(['--list-operators']), 0)
        self.assertEqual([line.split()[0] for line in output.getvalue().splitlines()], NAMES)


class MaskTest(unittest.TestCase):
    def test_comments_stay(self):
        self.assertEqual(changed_lines('// if (a < b) return true;\n/* ++x;\n 7 */'), [])

    def test_texts_stay(self):
        self.assertEqual(changed_lines(r'x = "a < b && \" 7 true"; y = R"z(1 + ")")z"; c = ' r"'\''; d = '7';"), [])

    def test_preprocessor_lines_stay(self):
        self.assertEqual(changed_lines('#include "x1.h"\n#if 1 < 2\n#define A(x) \\\n    if (x) return 7\n#endif'), [])

    def test_assertions_and_arguments_of_entries_stay(self):
        for text in ('static_assert(1 < 2);', 'M_ASSERT(a == 1, "a", "%d", a + 1);', 'M_TRACE(5, "%d", a + 1);'):
            self.assertEqual(changed_lines(text), [])
        self.assertEqual(changed_lines('M_ERRLOG("%d", a + 1);'), [';'])

    def test_an_assertion_that_decides_can_be_swapped(self):
        self.assertEqual(changed_lines('if (!M_ASSERT(a < 1, "a", "")) x = y;', 'negation', 'condition', 'relation'),
                         ['if (M_ASSERT(a < 1, "a", "")) x = y;', 'if (true) x = y;', 'if (false) x = y;'])

    def test_a_number_with_marks_between_its_digits_is_no_text(self):
        self.assertEqual(changed_lines("x = 1'000; y = true; z = 2'000;", 'constant'),
                         ["x = 1'000; y = false; z = 2'000;"])


class WhereTest(unittest.TestCase):
    def functions(self, text):
        return {change.before: change.function for change in mutation.changes_of('f.cpp', text)
                if change.operator == 'constant'}

    def test_the_function_around_is_known(self):
        text = ('const bool one = true;\nnamespace n {\nstruct S {\n    bool two = true;\n'
                '    bool inside() const { return true; }\n};\n'
                'S::S(int x) : _a{}, _b{x} {\n    four = true;\n}\n'
                'template <typename T>\nauto T::g() -> int {\n    std::sort([](int x) { five = true; });\n}\n'
                'bool S::operator==(X) {\n    six = true;\n}\n}\n')
        self.assertEqual(self.functions(text), {
            'const bool one = true;': '', 'bool two = true;': '', 'bool inside() const { return true; }': 'inside',
            'four = true;': 'S', 'std::sort([](int x) { five = true; });': 'g', 'six = true;': 'operator=='})

    def test_the_line_is_that_of_the_place(self):
        self.assertEqual([change.line for change in mutation.changes_of('f.cpp', '\n\nbool a = true;\nbool b = true;')],
                         [3, 4])

    def test_a_diff_has_no_comment_and_no_space_around(self):
        change = mutation.changes_of('f.cpp', '    bool a   = true;  // why')[0]
        self.assertEqual((change.before, change.after), ('bool a = true;', 'bool a = false;'))


class ChoiceTest(unittest.TestCase):
    TEXT = 'void f() {\n' + ''.join(f'    x{number} = a{number} < true;\n' for number in range(20)) + '}\n'

    def order(self, text, seed, name='folder/f.cpp'):
        return [mutation.entry_of(change) for change in mutation.order_by_seed(mutation.changes_of(name, text), seed)]

    def test_the_same_seed_chooses_the_same(self):
        self.assertEqual(self.order(self.TEXT, 7), self.order(self.TEXT, 7))
        self.assertNotEqual(self.order(self.TEXT, 7), self.order(self.TEXT, 8))

    def test_each_place_is_chosen_once(self):
        self.assertEqual(len(self.order(self.TEXT, 7)), 40)
        self.assertEqual(len(mutation.changes_of('f.cpp', self.TEXT)), 60)

    def test_a_moved_file_or_another_line_leaves_the_order(self):
        self.assertEqual(self.order(self.TEXT, 7), self.order('\nint z;\n' + self.TEXT, 7, 'elsewhere/f.cpp'))

    def test_small_folders_get_more_than_their_share_and_never_more_than_they_have(self):
        self.assertEqual(mutation.shares({'a': 900, 'b': 100}, 40), {'a': 30, 'b': 10})
        self.assertEqual(mutation.shares({'a': 900, 'b': 1, 'c': 0}, 40), {'a': 39, 'b': 1})
        self.assertEqual(mutation.shares({'a': 900, 'b': 1, 'c': 0}, 400), {'a': 399, 'b': 1})
        self.assertEqual(mutation.shares({'a': 2, 'b': 1}, 40), {'a': 2, 'b': 1})
        self.assertEqual(sum(mutation.shares({'a': 50, 'b': 60, 'c': 70}, 100).values()), 100)


class EquivalentsTest(unittest.TestCase):
    ENTRY = 'f.cpp, f: constant\n- x = true;\n+ x = false;\n'

    def test_an_entry_holds_wherever_its_line_stands(self):
        listed = {entry.key for entry in mutation.equivalents_of(f'# comment\n\n{self.ENTRY}Why: nobody\nreads it.\n')}
        for text in ('void f() {\n    x = true;\n}\n', '\n\nint z;\nvoid f() {\n  y();\n  x = true;  // comment\n}\n'):
            change = [each for each in mutation.changes_of('any/f.cpp', text) if each.operator == 'constant'][0]
            self.assertIn(mutation.entry_of(change), listed)

    def test_an_entry_holds_for_no_other_change(self):
        for name, text in (('g.cpp', 'void f() {\n    x = true;\n}\n'), ('f.cpp', 'void g() {\n    x = true;\n}\n'),
                           ('f.cpp', 'void f() {\n    y = true;\n}\n')):
            self.assertNotEqual(mutation.entry_of(mutation.changes_of(name, text)[0]), self.ENTRY)

    def test_the_reason_is_kept_whole(self):
        self.assertEqual(mutation.equivalents_of(self.ENTRY + 'Why: nobody\n  reads it.\n')[0].why, 'nobody reads it.')

    def test_an_entry_without_a_reason_is_refused(self):
        for text in (self.ENTRY, self.ENTRY + 'Why:\n', self.ENTRY + 'because\n'):
            with self.assertRaisesRegex(mutation.ListError, 'line 2'):
                mutation.equivalents_of('\n' + text)

    def test_more_than_twenty_are_refused(self):
        entry = self.ENTRY + 'Why: nobody reads it.\n\n'
        self.assertEqual(len(mutation.equivalents_of(entry * 20)), 20)
        with self.assertRaisesRegex(mutation.ListError, '21 entries'):
            mutation.equivalents_of(entry * 21)

    def test_the_list_in_use_is_right(self):
        mutation.equivalents_of(mutants.EQUIVALENTS.read_text(encoding='utf-8'))


class JudgeTest(unittest.TestCase):
    @staticmethod
    def timed(name, source, seconds, program='bin/p'):
        return mutants.Test(program, name, source, seconds)

    def test_what_is_named_after_the_source_runs_first_and_long_tests_run_last_and_alone(self):
        slow, other = self.timed('S.slow', 'ring_test.cpp', 5), self.timed('S.other', 'grab_test.cpp', 0.01)
        direct, killer = self.timed('S.direct', 'ring_damage_test.cpp', 0.5), self.timed('S.k', 'x_test.cpp', 0.9)
        units = mutants.units_of([slow, other, direct, killer], 'mipc/src/ring.cpp', ['S.k'])
        self.assertEqual(units, [[killer, direct], [other], [slow]])

    def test_a_process_runs_tests_of_one_program_and_of_ten_seconds(self):
        tests = [self.timed(f'S.t{number}', 'grab_test.cpp', 0.9, f'bin/p{number % 2}') for number in range(24)]
        units = mutants.units_of(tests, 'mipc/src/ring.cpp', [])
        self.assertEqual(sum(len(unit) for unit in units), 24)
        for unit in units:
            self.assertEqual(len({test.program for test in unit}), 1)
            self.assertLessEqual(sum(test.seconds for test in unit), 10)

    def test_the_failed_test_is_blamed_or_the_one_that_was_running(self):
        failed = '[ RUN      ] S.a\n[  FAILED  ] S.a, where GetParam() = 1 (3 ms)\n[ RUN      ] S.b\n'
        self.assertEqual(mutants.blamed(failed, ['S.a', 'S.b']), 'S.a')
        ended = '[ RUN      ] S.a\n[       OK ] S.a (12 ms)\n[ RUN      ] S.b\n'
        self.assertEqual(mutants.blamed(ended, ['S.a', 'S.b']), 'S.b')
        self.assertIsNone(mutants.blamed(failed, ['S.c']))
        self.assertIsNone(mutants.blamed('', ['S.a']))

    def test_what_was_green_is_told_with_its_time(self):
        text = ('[       OK ] S.a (12 ms)\n[       OK ] P/S.b/0, where GetParam() = 1 (1500 ms)\n'
                '[  FAILED  ] S.c (1 ms)\n')
        self.assertEqual(mutants.green_in(text), {'S.a': 0.012, 'P/S.b/0': 1.5})


if __name__ == '__main__':
    unittest.main()
