#include "settings/Mnemonics.h"

#include <QHash>
#include <QSet>

#include <algorithm>
#include <functional>
#include <numeric>
#include <tuple>

namespace tonmill {

namespace {

// Letters that every keyboard layout has: an accented letter may need keys
// that the person's layout lacks.
bool isKey(QChar c)
{
    return c.unicode() < 128 && c.isLetterOrNumber();
}

struct Plain {
    QString text;
    qsizetype marked = -1;
};

Plain parse(const QString &text)
{
    Plain plain;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (c == QLatin1Char('&') && i + 1 < text.size()) {
            const QChar next = text[i + 1];
            if (next == QLatin1Char('&')) {
                plain.text += c;
                ++i;
                continue;
            }
            if (next.isLetterOrNumber()) {
                if (plain.marked < 0)
                    plain.marked = plain.text.size();
                continue;
            }
        }
        plain.text += c;
    }
    return plain;
}

struct Candidate {
    QChar key;
    qsizetype position;
};

// The caption's letters in the order they are tried, each key once.
QList<Candidate> candidates(const Plain &plain)
{
    const QString &text = plain.text;
    QList<qsizetype> order;
    if (plain.marked >= 0)
        order << plain.marked;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (isKey(text[i])) {
            order << i;
            break;
        }
    }
    for (qsizetype i = 1; i < text.size(); ++i) {
        if (isKey(text[i]) && !text[i - 1].isLetterOrNumber())
            order << i;
    }
    for (qsizetype i = 0; i < text.size(); ++i)
        order << i;

    QList<Candidate> found;
    QSet<QChar> keys;
    for (const qsizetype i : order) {
        const QChar key = text[i].toLower();
        if (isKey(text[i]) && !keys.contains(key)) {
            keys.insert(key);
            found.append({key, i});
        }
    }
    // A caption of figures alone ("44100", "+.1") is a value, not a name to type.
    const bool hasLetter = std::any_of(text.begin(), text.end(), [](QChar c) { return isKey(c) && c.isLetter(); });
    return hasLetter ? found : QList<Candidate>();
}

// Kuhn's augmenting paths, where a letter may have several holders as long
// as no two of them show together: captions are placed in their order of
// precedence, and one already placed moves to another of its letters to make
// room for the next.
class Placement {
public:
    using Together = std::function<bool(int, int)>;

    // marked: the position that each caption's own "&" marks, or -1.
    Placement(const QList<QList<Candidate>> &candidates, const QList<qsizetype> &marked, Together together)
        : m_candidates(candidates)
        , m_marked(marked)
        , m_together(std::move(together))
        , m_chosen(candidates.size(), -1)
    {
    }

    void place(int caption)
    {
        QSet<QChar> visited;
        assign(caption, visited, m_holders);
    }

    const QList<qsizetype> &chosen() const { return m_chosen; }

private:
    using Holders = QHash<QChar, QList<int>>;

    QList<int> blocking(int caption, const Candidate &candidate, const Holders &holders) const
    {
        QList<int> found;
        for (const int holder : holders.value(candidate.key)) {
            if (m_together(caption, holder))
                found << holder;
        }
        return found;
    }

    // A free letter first, so that no caption is moved from the letter it
    // prefers while another would do.
    bool assign(int caption, QSet<QChar> &visited, Holders &holders)
    {
        for (const Candidate &candidate : m_candidates[caption]) {
            if (!visited.contains(candidate.key) && blocking(caption, candidate, holders).isEmpty()) {
                holders[candidate.key] << caption;
                m_chosen[caption] = candidate.position;
                return true;
            }
        }
        for (const Candidate &candidate : m_candidates[caption]) {
            if (visited.contains(candidate.key))
                continue;
            visited.insert(candidate.key);
            const QList<int> holdersInTheWay = blocking(caption, candidate, holders);
            if (holdersInTheWay.size() != 1)
                continue;
            const int holder = holdersInTheWay.constFirst();
            // The letter that a language file marks stays with its caption.
            if (m_chosen[holder] == m_marked[holder])
                continue;
            Holders trial = holders;
            const QList<qsizetype> before = m_chosen;
            trial[candidate.key].removeOne(holder);
            if (!assign(holder, visited, trial)) {
                m_chosen = before;
                continue;
            }
            trial[candidate.key] << caption;
            m_chosen[caption] = candidate.position;
            holders = trial;
            return true;
        }
        return false;
    }

    const QList<QList<Candidate>> &m_candidates;
    const QList<qsizetype> &m_marked;
    Together m_together;
    QList<qsizetype> m_chosen;
    Holders m_holders;
};

QString marked(const QString &text, qsizetype position)
{
    QString result;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (i == position)
            result += QLatin1Char('&');
        result += text[i];
        if (text[i] == QLatin1Char('&'))
            result += QLatin1Char('&');
    }
    return result;
}

} // namespace

QStringList withMnemonics(const QList<MnemonicCaption> &captions)
{
    QList<Plain> plains;
    QList<QList<Candidate>> tried;
    QList<qsizetype> markedAt;
    for (const MnemonicCaption &caption : captions) {
        plains << parse(caption.text);
        tried << candidates(plains.constLast());
        markedAt << plains.constLast().marked;
    }
    // Two captions show together unless they are different alternatives of one layer.
    Placement placement(tried, markedAt, [&captions](int a, int b) {
        return captions[a].layer == 0 || captions[b].layer == 0 || captions[a].layer != captions[b].layer
            || captions[a].alternative == captions[b].alternative;
    });
    QList<int> order(captions.size());
    std::iota(order.begin(), order.end(), 0);
    // The first rank before all others; then the others layer by layer, so
    // that what is always shown comes before what shows in turn.
    const auto precedence = [&captions](int i) {
        return std::tuple(captions[i].rank > 0, captions[i].layer, captions[i].rank);
    };
    std::stable_sort(order.begin(), order.end(), [&precedence](int a, int b) { return precedence(a) < precedence(b); });
    for (const int caption : order)
        placement.place(caption);

    QStringList texts;
    for (int i = 0; i < captions.size(); ++i)
        texts << marked(plains[i].text, placement.chosen()[i]);
    return texts;
}

QString withoutMnemonic(const QString &text)
{
    return parse(text).text;
}

} // namespace tonmill
