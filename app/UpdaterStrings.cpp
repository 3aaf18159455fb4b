// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/UpdaterStrings.h"

#include <array>

namespace UpdaterStrings {

namespace {

using Row = std::array<const char *, keyCount>;

// In the order of Key; "%1" and "%2" are filled by the dialog.
const Row &row(AppLanguage language)
{
    static const Row en{"Software Update", "Checking for updates…", "You’re up to date!",
                        "Stashwell %1 is currently the newest version available.",
                        "A new version of Stashwell is available!",
                        "Stashwell %1 is now available—you have %2. Would you like to download it now?",
                        "Release Notes", "Download", "Skip This Version", "Remind Me Later", "Update Error!",
                        "An error occurred in retrieving update information. Please try again later."};
    static const Row ja{"ソフトウェア・アップデート", "アップデートを確認中…", "最新の状態です！",
                        "Stashwell %1 は現在入手可能な最新バージョンです。",
                        "新しいバージョンの Stashwell が利用可能です！",
                        "Stashwell %1 が利用可能です（現在のバージョンは %2）。今すぐダウンロードしますか？",
                        "リリースノート", "ダウンロード", "このバージョンをスキップ", "後で通知",
                        "アップデートエラー！",
                        "アップデート情報の取得中にエラーが発生しました。後でもう一度お試しください。"};
    static const Row ko{"소프트웨어 업데이트", "업데이트 확인 중…", "최신 버전입니다!",
                        "Stashwell %1이(가) 현재 사용 가능한 최신 버전입니다.",
                        "새로운 버전의 Stashwell을 사용할 수 있습니다!",
                        "Stashwell %1을(를) 사용할 수 있습니다. 현재 버전은 %2입니다. 지금 다운로드하시겠습니까?",
                        "릴리스 노트", "다운로드", "이 버전 건너뛰기", "나중에 알림", "업데이트 오류!",
                        "업데이트 정보를 가져오는 중 오류가 발생했습니다. 나중에 다시 시도하십시오."};
    static const Row zhHans{"软件更新", "正在检查更新…", "已是最新版本！", "Stashwell %1 是目前可用的最新版本。",
                            "Stashwell 有新版本可用！", "Stashwell %1 现已推出，您的版本是 %2。要立即下载吗？",
                            "发行说明", "下载", "跳过此版本", "稍后提醒", "更新出错！",
                            "获取更新信息时出错，请稍后再试。"};
    static const Row zhHant{"軟體更新", "正在檢查更新項目…", "已是最新版本！", "Stashwell %1 是目前可用的最新版本。",
                            "Stashwell 有新版本可用！", "Stashwell %1 現已推出，您的版本是 %2。要立即下載嗎？",
                            "版本說明", "下載", "略過此版本", "稍後提醒我", "更新錯誤！",
                            "取得更新資訊時發生錯誤，請稍後再試一次。"};
    static const Row de{"Softwareaktualisierung", "Suche nach Updates …", "Alles aktuell!",
                        "Stashwell %1 ist die neueste verfügbare Version.",
                        "Eine neue Version von Stashwell ist verfügbar!",
                        "Stashwell %1 ist jetzt verfügbar – du hast %2. Möchtest du es jetzt laden?",
                        "Versionshinweise", "Laden", "Diese Version überspringen", "Später erinnern",
                        "Fehler beim Aktualisieren!",
                        "Beim Abrufen der Update-Informationen ist ein Fehler aufgetreten. Bitte versuche es später erneut."};
    static const Row fr{"Mise à jour de logiciels", "Recherche de mises à jour…", "Vous êtes à jour !",
                        "Stashwell %1 est la version la plus récente disponible.",
                        "Une nouvelle version de Stashwell est disponible !",
                        "Stashwell %1 est disponible — vous avez la version %2. Voulez-vous la télécharger maintenant ?",
                        "Notes de version", "Télécharger", "Ignorer cette version", "Me le rappeler plus tard",
                        "Erreur de mise à jour !",
                        "Une erreur est survenue lors de la récupération des informations de mise à jour. Veuillez réessayer plus tard."};
    static const Row es{"Actualización de software", "Buscando actualizaciones…", "¡Estás al día!",
                        "Stashwell %1 es la versión más reciente disponible.",
                        "¡Hay una nueva versión de Stashwell disponible!",
                        "Stashwell %1 ya está disponible; tienes la %2. ¿Quieres descargarla ahora?",
                        "Notas de la versión", "Descargar", "Omitir esta versión", "Recordármelo más tarde",
                        "¡Error de actualización!",
                        "Se ha producido un error al obtener la información de actualización. Inténtalo de nuevo más tarde."};
    static const Row ptBR{"Atualização de Software", "Procurando atualizações…", "Você está atualizado!",
                          "Stashwell %1 é a versão mais recente disponível.",
                          "Uma nova versão do Stashwell está disponível!",
                          "Stashwell %1 já está disponível — você tem a %2. Deseja baixá-la agora?",
                          "Notas da Versão", "Baixar", "Ignorar Esta Versão", "Lembrar Mais Tarde",
                          "Erro de Atualização!",
                          "Ocorreu um erro ao obter as informações de atualização. Tente novamente mais tarde."};
    static const Row ru{"Обновление ПО", "Проверка обновлений…", "У вас последняя версия!",
                        "Stashwell %1 — новейшая доступная версия.", "Доступна новая версия Stashwell!",
                        "Доступен Stashwell %1 — у вас версия %2. Загрузить сейчас?", "Что нового",
                        "Загрузить", "Пропустить эту версию", "Напомнить позже", "Ошибка обновления!",
                        "Не удалось получить сведения об обновлении. Повторите попытку позже."};
    static const Row it{"Aggiornamento software", "Ricerca aggiornamenti…", "Sei aggiornato!",
                        "Stashwell %1 è la versione più recente disponibile.",
                        "È disponibile una nuova versione di Stashwell!",
                        "Stashwell %1 è ora disponibile (hai la %2). Vuoi scaricarla adesso?", "Note di rilascio",
                        "Scarica", "Salta questa versione", "Ricordamelo più tardi", "Errore di aggiornamento!",
                        "Si è verificato un errore durante il recupero delle informazioni di aggiornamento. Riprova più tardi."};
    static const Row nl{"Software-update", "Zoeken naar updates…", "Je bent helemaal bij!",
                        "Stashwell %1 is de nieuwste beschikbare versie.",
                        "Er is een nieuwe versie van Stashwell beschikbaar!",
                        "Stashwell %1 is nu beschikbaar — je hebt %2. Wil je deze nu downloaden?",
                        "Versienotities", "Download", "Sla deze versie over", "Herinner me later",
                        "Updatefout!",
                        "Er is een fout opgetreden bij het ophalen van de update-informatie. Probeer het later opnieuw."};
    static const Row pl{"Uaktualnienia", "Sprawdzanie uaktualnień…", "Masz najnowszą wersję!",
                        "Stashwell %1 to najnowsza dostępna wersja.", "Dostępna jest nowa wersja Stashwell!",
                        "Dostępny jest Stashwell %1 — masz wersję %2. Czy chcesz go teraz pobrać?",
                        "Informacje o wersji", "Pobierz", "Pomiń tę wersję", "Przypomnij później",
                        "Błąd uaktualniania!",
                        "Podczas pobierania informacji o uaktualnieniu wystąpił błąd. Spróbuj ponownie później."};
    static const Row tr{"Yazılım Güncelleme", "Güncellemeler denetleniyor…", "Güncelsiniz!",
                        "Stashwell %1 şu anda mevcut olan en yeni sürümdür.",
                        "Stashwell'in yeni bir sürümü mevcut!",
                        "Stashwell %1 artık mevcut; sizdeki sürüm %2. Şimdi indirmek ister misiniz?",
                        "Sürüm Notları", "İndir", "Bu Sürümü Atla", "Daha Sonra Hatırlat", "Güncelleme Hatası!",
                        "Güncelleme bilgileri alınırken bir hata oluştu. Lütfen daha sonra yeniden deneyin."};
    switch (language) {
    case AppLanguage::en: return en;
    case AppLanguage::ja: return ja;
    case AppLanguage::ko: return ko;
    case AppLanguage::zhHans: return zhHans;
    case AppLanguage::zhHant: return zhHant;
    case AppLanguage::de: return de;
    case AppLanguage::fr: return fr;
    case AppLanguage::es: return es;
    case AppLanguage::ptBR: return ptBR;
    case AppLanguage::ru: return ru;
    case AppLanguage::it: return it;
    case AppLanguage::nl: return nl;
    case AppLanguage::pl: return pl;
    case AppLanguage::tr: return tr;
    }
    return en;
}

} // namespace

QString text(Key key, AppLanguage language)
{
    return QString::fromUtf8(row(language)[size_t(key)]);
}

} // namespace UpdaterStrings
