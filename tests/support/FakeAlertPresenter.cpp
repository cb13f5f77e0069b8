#include "FakeAlertPresenter.h"

int FakeAlertPresenter::displayMessage(const QString &message, const QString &title,
                                       const AlertButtons &buttons, bool modal,
                                       const QString &imageName, AlertDelegate *delegate)
{
    m_shown.append({message, title, buttons, modal, imageName});
    const int answer = m_script.isEmpty() ? kDefault : m_script.takeFirst();
    if (!modal && delegate)
        delegate->didClickButton(answer);
    return answer;
}
